// Sorting of packed keys: a code in the upper half, whatever goes with it in the lower.
//
// Few keys are ranked by comparing all of them, more take radix passes with digits that fit their
// number: neither jumps by what the keys are, which a processor cannot foretell.
// Threads: a sorter belongs to one thread; it keeps its memory for the next call.
#pragma once

#include <cstdint>
#include <span>
#include <vector>

namespace zel::adt {

constexpr unsigned k_key_payload_bits = 32;

class key_sorter {
 public:
  /// Room for n keys, for the caller to fill before sort().
  std::span<std::uint64_t> start(std::size_t n) {
    if (keys_.size() < n) {
      other_.resize(n + n / 2);  // first: where one has no room, keys_ still says so
      keys_.resize(n + n / 2);
    }
    return {keys_.data(), n};
  }
  /// The first `n` keys by code, those of a code in their order. All codes are below n_codes, at
  /// most 2^32. Valid until the next start().
  std::span<const std::uint64_t> sort(std::size_t n, std::uint64_t n_codes);

 private:
  void sort_by_ranks(std::size_t n);
  void sort_by_digits(std::size_t n, unsigned bits);
  void scatter(std::size_t n, unsigned shift, std::size_t n_buckets);

  std::vector<std::uint64_t> keys_, other_;
  std::vector<std::uint32_t> starts_;
};

}  // namespace zel::adt
