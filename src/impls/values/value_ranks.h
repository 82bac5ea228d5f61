// The ranks of many numbers among their distinct values: the codes of a column whose values are
// nearly all different, without a dictionary.
#pragma once

#include <cstdint>
#include <vector>

#include "impls/values/growing_array.h"

namespace orvik::impls {

template <class T>
struct ranked_values {
  std::vector<T> values;             // distinct, ascending
  std::vector<std::uint32_t> ranks;  // by element: 1 + the position of its value
};

/// Ranks the elements of all parts together, numbered through the parts. Frees the parts.
/// T is an integer of 32 bits or a floating type without not-a-numbers and -0. Time is linear in
/// the elements for integers and for values spread evenly, n log n in the worst case.
/// Throws std::runtime_error at 4294967295 elements.
template <class T>
ranked_values<T> rank_values(std::vector<growing_array<T>> parts);

extern template ranked_values<int> rank_values(std::vector<growing_array<int>>);
extern template ranked_values<unsigned> rank_values(std::vector<growing_array<unsigned>>);
extern template ranked_values<float> rank_values(std::vector<growing_array<float>>);
extern template ranked_values<double> rank_values(std::vector<growing_array<double>>);
extern template ranked_values<long double> rank_values(std::vector<growing_array<long double>>);

}  // namespace orvik::impls
