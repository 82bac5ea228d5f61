#include "impls/trees/code_sort.h"

#include <algorithm>
#include <bit>

#include "zel/adt/counting_sort.h"

namespace orvik::impls::kernel {

namespace {

constexpr unsigned k_radix_bits = 11;
constexpr std::size_t k_few_cases = 512;
constexpr unsigned k_position_bits = 24;  // enough for the positions of few cases
constexpr std::size_t k_codes_per_case = 4;

bool is_sorted(std::span<const coded_case> cases) {
  return std::is_sorted(cases.begin(), cases.end(),
                        [](const auto& a, const auto& b) { return a.code < b.code; });
}

}  // namespace

std::span<const coded_case> code_sorter::sorted(const code_range& range) {
  const std::size_t n_codes = range.second - range.first;
  if (is_sorted(cases_)) return cases_;
  if (cases_.size() < k_few_cases && n_codes < (1UL << (64 - k_position_bits))) {
    sort_by_keys(range);
  } else if (n_codes / cases_.size() <= k_codes_per_case) {
    sort_by_counting(range);
  } else {
    sort_by_radix(range);
  }
  return cases_;
}

void code_sorter::sort_by_keys(const code_range& range) {
  keys_.clear();
  for (std::size_t i = 0; i < cases_.size(); ++i) {
    keys_.push_back((cases_[i].code - range.first) << k_position_bits | i);
  }
  std::sort(keys_.begin(), keys_.end());
  other_.clear();
  for (const std::uint64_t key : keys_) {
    other_.push_back(cases_[key & ((1UL << k_position_bits) - 1)]);
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

}  // namespace orvik::impls::kernel
