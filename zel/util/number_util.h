// Small searches over ranges of numbers, and a number that is none.
#pragma once

#include <cmath>
#include <iterator>
#include <limits>
#include <stdexcept>

namespace zel::util::number_util {

inline constexpr char k_argmax_empty[] = "number_util::argmax called with empty range";

/// Position of the largest value of `values`, the lowest of equals; values are compared by <.
/// Throws std::runtime_error for an empty range.
template <class Range>
unsigned long argmax(const Range& values) {
  auto current = std::begin(values);
  const auto end = std::end(values);
  if (current == end) throw std::runtime_error(k_argmax_empty);
  auto best = current;
  unsigned long best_position = 0;
  for (unsigned long position = 1; ++current != end; ++position) {
    if (!(*best < *current)) continue;
    best = current;
    best_position = position;
  }
  return best_position;
}

/// `x`; of a not-a-number the one without a sign. Which sign a quotient of zeros has is up to the
/// processor, and streams print it.
template <class Number>
Number plain_nan(Number x) {
  return std::isnan(x) ? std::numeric_limits<Number>::quiet_NaN() : x;
}

}  // namespace zel::util::number_util
