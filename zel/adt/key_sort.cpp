#include "zel/adt/key_sort.h"

#include <algorithm>
#include <bit>
#include <cassert>

namespace zel::adt {

namespace {

constexpr std::size_t k_few_keys = 24;
constexpr std::size_t k_many_keys = 4096;
constexpr std::size_t k_full_bucket = 32;
constexpr unsigned k_radix_bits = 11;

void insertion_sort(std::uint64_t* keys, std::size_t n) {
  for (std::size_t i = 1; i < n; ++i) {
    const std::uint64_t key = keys[i];
    std::size_t at = i;
    for (; at > 0 && keys[at - 1] > key; --at) keys[at] = keys[at - 1];
    keys[at] = key;
  }
}

}  // namespace

std::span<const std::uint64_t> key_sorter::sort(std::size_t n, std::uint64_t n_codes) {
  assert(n <= keys_.size() && n_codes > 0);
  const auto bits = static_cast<unsigned>(std::bit_width(n_codes - 1));
  if (n <= k_few_keys) {
    insertion_sort(keys_.data(), n);
  } else if (n < k_many_keys) {
    bucket_sort(n, bits);
  } else {
    radix_sort(n, bits);
  }
  return {keys_.data(), n};
}

/// One stable pass by the digit at `shift`. starts_ is left with the ends of the buckets.
void key_sorter::scatter(std::size_t n, unsigned shift, std::size_t n_buckets) {
  const std::uint64_t mask = n_buckets - 1;
  starts_.assign(n_buckets, 0);
  for (std::size_t i = 0; i < n; ++i) ++starts_[(keys_[i] >> shift) & mask];
  std::uint32_t at = 0;
  for (std::uint32_t& start : starts_) {
    const std::uint32_t size = start;
    start = at;
    at += size;
  }
  for (std::size_t i = 0; i < n; ++i) other_[starts_[(keys_[i] >> shift) & mask]++] = keys_[i];
  keys_.swap(other_);
}

void key_sorter::bucket_sort(std::size_t n, unsigned bits) {
  const unsigned bucket_bits = std::min(bits, static_cast<unsigned>(std::bit_width(n)));
  scatter(n, k_key_payload_bits + bits - bucket_bits, std::size_t{1} << bucket_bits);
  std::uint32_t begin = 0;
  for (const std::uint32_t end : starts_) {  // where values cluster, a bucket may be large
    if (end - begin > k_full_bucket) std::sort(keys_.data() + begin, keys_.data() + end);
    begin = end;
  }
  insertion_sort(keys_.data(), n);
}

/// Least significant digits first.
void key_sorter::radix_sort(std::size_t n, unsigned bits) {
  const unsigned passes = (bits + k_radix_bits - 1) / k_radix_bits;
  const unsigned digit = passes == 0 ? 0 : (bits + passes - 1) / passes;
  for (unsigned p = 0; p < passes; ++p) {
    scatter(n, k_key_payload_bits + p * digit, std::size_t{1} << digit);
  }
}

}  // namespace zel::adt
