#include "impls/splitting/code_sort.h"

#include <algorithm>
#include <bit>
#include <cassert>

#include "zel/adt/counting_sort.h"

namespace orvik::impls::splitting {

namespace {

constexpr unsigned k_radix_bits = 11;
constexpr std::size_t k_few_cases = 512;
constexpr std::size_t k_codes_per_case = 4;

bool is_sorted(std::span<const coded_case> cases) {
  return std::is_sorted(cases.begin(), cases.end(),
                        [](const auto& a, const auto& b) { return a.code < b.code; });
}

}  // namespace

std::span<const coded_case> code_sorter::sorted(const code_range& range) {
  const std::size_t n_codes = range.second - range.first;
  assert(std::ranges::all_of(
      cases_, [&](const coded_case& c) { return c.code >= range.first && c.code < range.second; }));
  if (is_sorted(cases_)) return cases_;
  if (cases_.size() < k_few_cases && n_codes <= UINT32_MAX) {
    sort_by_keys(range);
  } else if (n_codes / cases_.size() <= k_codes_per_case) {
    sort_by_counting(range);
  } else {
    sort_by_radix(range);
  }
  return cases_;
}

/// By class first: what comes after it is stable.
std::span<const coded_case> code_sorter::sorted(const code_range& range, std::size_t n_places) {
  pass([](const coded_case& c) { return c.place; }, 0, n_places);
  return sorted(range);
}

void code_sorter::sort_by_keys(const code_range& range) {
  const std::span<std::uint64_t> keys = sorter_.start(cases_.size());
  for (std::size_t i = 0; i < keys.size(); ++i) {
    keys[i] = (cases_[i].code - range.first) << zel::adt::k_key_payload_bits | i;
  }
  other_.clear();
  for (const std::uint64_t key : sorter_.sort(keys.size(), range.second - range.first)) {
    other_.push_back(cases_[static_cast<std::uint32_t>(key)]);
  }
  cases_.swap(other_);
}

template <class Key>
void code_sorter::pass(Key key, code_t lo, std::size_t n_keys) {
  other_.resize(cases_.size());
  zel::adt::counting_pass(std::span<const coded_case>(cases_), other_.data(), key, lo, n_keys,
                          starts_);
  cases_.swap(other_);
}

void code_sorter::sort_by_counting(const code_range& range) {
  pass([](const coded_case& c) { return c.code; }, range.first, range.second - range.first);
}

/// Least significant digits first; each pass is stable.
void code_sorter::sort_by_radix(const code_range& range) {
  constexpr std::size_t k_digits = 1UL << k_radix_bits;
  const unsigned bits = std::bit_width(range.second - range.first);
  for (unsigned shift = 0; shift < bits; shift += k_radix_bits) {
    pass([&](const coded_case& c) { return ((c.code - range.first) >> shift) & (k_digits - 1); }, 0,
         k_digits);
  }
}

}  // namespace orvik::impls::splitting
