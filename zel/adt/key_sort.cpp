#include "zel/adt/key_sort.h"

#include <algorithm>
#include <array>
#include <bit>
#include <cassert>

namespace zel::adt {

namespace {

constexpr std::size_t k_fewest_keys = 9;
constexpr std::size_t k_few_keys = 48;
constexpr unsigned k_place_bits = 6;  // of a place among few keys
constexpr unsigned k_least_radix_bits = 5, k_most_radix_bits = 11;

void insertion_sort(std::uint64_t* keys, std::size_t n) {
  for (std::size_t i = 1; i < n; ++i) {
    const std::uint64_t key = keys[i];
    std::size_t at = i;
    const std::uint64_t code = key >> k_key_payload_bits;
    for (; at > 0 && keys[at - 1] >> k_key_payload_bits > code; --at) keys[at] = keys[at - 1];
    keys[at] = key;
  }
}

}  // namespace

std::span<const std::uint64_t> key_sorter::sort(std::size_t n, std::uint64_t n_codes) {
  assert(n <= keys_.size() && n_codes > 0);
  const auto bits = static_cast<unsigned>(std::bit_width(n_codes - 1));
  if (n < k_fewest_keys) {
    insertion_sort(keys_.data(), n);
  } else if (n <= k_few_keys && bits + k_place_bits < 32) {
    sort_by_ranks(n);
  } else {
    sort_by_digits(n, bits);
  }
  return {keys_.data(), n};
}

/// A key's rank is the number of those before it: all pairs are compared, several at once, and no
/// jump hangs on the keys. Positive numbers of code and place are compared; there are four a step.
void key_sorter::sort_by_ranks(std::size_t n) {
  std::array<std::int32_t, k_few_keys> places, ranks;
  const std::size_t n_steps = (n + 3) / 4 * 4;
  for (std::size_t i = 0; i < n; ++i) {
    const std::uint64_t code = keys_[i] >> k_key_payload_bits;
    places[i] = static_cast<std::int32_t>(code << k_place_bits | i);
  }
  std::fill(places.begin() + n, places.begin() + n_steps, 0);
  std::fill_n(ranks.begin(), n_steps, 0);
  for (std::size_t j = 0; j < n; ++j) {
    for (std::size_t i = 0; i < n_steps; ++i) ranks[i] += places[j] < places[i];
  }
  for (std::size_t i = 0; i < n; ++i) other_[static_cast<std::size_t>(ranks[i])] = keys_[i];
  keys_.swap(other_);
}

/// Least significant digits first, of about as many values as there are keys.
void key_sorter::sort_by_digits(std::size_t n, unsigned bits) {
  const unsigned most =
      std::clamp(static_cast<unsigned>(std::bit_width(n)), k_least_radix_bits, k_most_radix_bits);
  const unsigned passes = (bits + most - 1) / most;
  const unsigned digit = passes == 0 ? 0 : (bits + passes - 1) / passes;
  for (unsigned p = 0; p < passes; ++p) {
    scatter(n, k_key_payload_bits + p * digit, std::size_t{1} << digit);
  }
}

/// One stable pass by the digit at `shift`.
void key_sorter::scatter(std::size_t n, unsigned shift, std::size_t n_buckets) {
  const std::uint64_t mask = n_buckets - 1;
  starts_.assign(n_buckets, 0);
  std::uint32_t* const starts = starts_.data();
  const std::uint64_t* const from = keys_.data();
  std::uint64_t* const to = other_.data();
  for (std::size_t i = 0; i < n; ++i) ++starts[from[i] >> shift & mask];
  std::uint32_t at = 0;
  for (std::size_t b = 0; b < n_buckets; ++b) {
    const std::uint32_t size = starts[b];
    starts[b] = at;
    at += size;
  }
  for (std::size_t i = 0; i < n; ++i) to[starts[from[i] >> shift & mask]++] = from[i];
  keys_.swap(other_);
}

}  // namespace zel::adt
