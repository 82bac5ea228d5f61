// Stable sorting of a node's cases by the codes of one column.
//
// The method follows the numbers: few cases are sorted as packed (code, position) keys, which
// makes any sort a stable one; many cases by counting where the codes are dense, by radix passes
// otherwise. All give the same order.
// Threads: a sorter belongs to one thread; it keeps its memory for the next call.
#pragma once

#include <cstdint>
#include <span>
#include <vector>

#include "impls/types.h"
#include "zel/adt/key_sort.h"

namespace orvik::impls::splitting {

/// A case of known value as the sweep reads it.
struct coded_case {
  code_t code;
  std::uint32_t place;
  double weight;
};

class code_sorter {
 public:
  /// Forgets the cases; `n` will be added.
  void start(std::size_t n) {
    cases_.clear();
    cases_.reserve(n);
  }
  void add(code_t code, std::uint32_t place, double weight) {
    cases_.push_back({code, place, weight});
  }
  /// The cases in ascending order of code, equal codes in the order of their addition.
  /// All codes lie in `range`. Valid until the next start().
  std::span<const coded_case> sorted(const code_range& range);
  /// The same, those of a code in ascending order of place, from 0 to before n_places.
  std::span<const coded_case> sorted(const code_range& range, std::size_t n_places);

 private:
  void sort_by_keys(const code_range& range);
  void sort_by_counting(const code_range& range);
  void sort_by_radix(const code_range& range);
  /// One stable pass by a key in [lo, lo + n_keys).
  template <class Key>
  void pass(Key key, code_t lo, std::size_t n_keys);

  std::vector<coded_case> cases_, other_;
  zel::adt::key_sorter sorter_;
  std::vector<unsigned long> starts_;
};

}  // namespace orvik::impls::splitting
