// The cells of boolean attributes whose values are bits of a word a row: filled in one pass over
// the cases. They are counted at the bits that are set; the others are what remains.
#pragma once

#include <bit>
#include <cstdint>
#include <span>
#include <vector>

#include "impls/splitting/cells.h"

namespace orvik::impls::splitting {

/// Counts at the set flags of `wanted`, by flag, then by place; `n_flags` are above all of them.
inline void fill_flags(const counted_node& node, std::span<const std::uint64_t> flags_of_row,
                       std::uint64_t wanted, unsigned n_flags, std::vector<count_t>& set) {
  const std::size_t n = node.n_places;
  set.assign(n_flags * n, 0);
  for (const counted_case& c : node.cases) {
    const std::size_t place = node.places[c.class_code];
    for (std::uint64_t flags = flags_of_row[c.row] & wanted; flags != 0; flags &= flags - 1) {
      set[static_cast<std::size_t>(std::countr_zero(flags)) * n + place] += c.count;
    }
  }
}

/// The cells of one flag, code 1 clear and 2 set, in `cells`.
inline dense_cells<count_t> cells_of_flag(const counted_node& node, std::span<const count_t> set,
                                          unsigned flag, std::vector<count_t>& cells) {
  const std::size_t n = node.n_places;
  cells.resize(2 * n);
  for (std::size_t i = 0; i < n; ++i) {
    cells[n + i] = set[flag * n + i];
    cells[i] = node.totals[i] - cells[n + i];
  }
  return {cells, {}, n, 1};
}

}  // namespace orvik::impls::splitting
