// The cases of a node as growing handles them while every weight is 1: eight bytes each, with the
// class beside the row.
//
// Sums of such weights are whole numbers below 2^53, the same in any order. Where no attribute has
// unknown values no weight ever becomes a fraction: the order of the cases is then of no
// consequence, and a row drawn several times is one entry.
#pragma once

#include <cstdint>
#include <limits>
#include <vector>

#include "impls/tables/code_view.h"
#include "impls/types.h"

namespace orvik::impls {

struct counted_case {
  std::uint32_t row;
  std::uint16_t class_code;
  std::uint16_t count;  // of the entries of the case list that this one stands for
};

/// Whether the list can be held: every weight is 1, and rows fit.
inline bool countable(const case_list& cases) {
  constexpr row_t k_most = std::numeric_limits<std::int32_t>::max();
  if (cases.size() > k_most) return false;
  for (const auto& [row, weight] : cases) {
    if (weight != 1.0 || row > k_most) return false;
  }
  return true;
}

/// The list, entry by entry in its order.
std::vector<counted_case> counted_in_order(const case_list& cases, const code_view& classes);
/// The list by ascending rows, the entries of a row in one. `n_rows` is above every row.
std::vector<counted_case> counted_by_row(const case_list& cases, const code_view& classes,
                                         unsigned long n_rows);

}  // namespace orvik::impls
