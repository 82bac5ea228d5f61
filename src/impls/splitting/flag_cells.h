// The cells of boolean attributes whose values are bits of a word a row: filled in one pass over
// the cases. Counts are made at the bits that are set; the others are what remains. A sum of
// weights less some of them is not the sum of the others to the last bit: it goes along with the
// sum of the class until the first case whose bit is set, and from there on its own way.
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

/// What fill_flags() makes of weights.
struct flag_sums {
  std::vector<double> cells;           // by flag, clear before set, then by place
  std::vector<double> known;           // by place
  std::vector<std::uint64_t> own_way;  // by place: flags whose clear cell is a sum by itself
  std::size_t n_places = 0;

  /// The cells of one flag, code 1 clear and 2 set.
  dense_cells<double> of(unsigned flag) const {
    return {std::span(cells).subspan(2 * flag * n_places, 2 * n_places), {}, n_places, 1};
  }
};

/// The flags that some cases have set and some clear.
inline std::uint64_t varying_flags(const weighed_node& node,
                                   std::span<const std::uint64_t> flags_of_row) {
  std::uint64_t some = 0, all = ~std::uint64_t{0};
  for (const weighed_case& c : node.cases) {
    some |= flags_of_row[c.row];
    all &= flags_of_row[c.row];
  }
  return some & ~all;
}

/// Adds up the weights of all cells of the `wanted` flags, each in the order of the cases.
inline void fill_flags(const weighed_node& node, std::span<const std::uint64_t> flags_of_row,
                       std::uint64_t wanted, unsigned n_flags, flag_sums& sums) {
  const std::size_t n = sums.n_places = node.n_places;
  sums.cells.assign(2 * n_flags * n, 0);
  sums.known.assign(n, 0);
  sums.own_way.assign(n, 0);
  const auto each = [](std::uint64_t flags, const auto& visit) {
    for (; flags != 0; flags &= flags - 1) {
      visit(static_cast<std::size_t>(std::countr_zero(flags)));
    }
  };
  for (const weighed_case& c : node.cases) {
    const std::uint64_t set = flags_of_row[c.row] & wanted;
    double* const clear_cells = sums.cells.data() + c.place;
    double* const set_cells = clear_cells + n;
    const double before = sums.known[c.place];
    const std::uint64_t parted = sums.own_way[c.place];
    each(set & ~parted, [&](std::size_t flag) { clear_cells[2 * n * flag] = before; });
    each(parted & ~set, [&](std::size_t flag) { clear_cells[2 * n * flag] += c.weight; });
    each(set, [&](std::size_t flag) { set_cells[2 * n * flag] += c.weight; });
    sums.own_way[c.place] = parted | set;
    sums.known[c.place] = before + c.weight;
  }
  for (std::size_t place = 0; place < n; ++place) {
    each(wanted & ~sums.own_way[place],
         [&](std::size_t flag) { sums.cells[2 * n * flag + place] = sums.known[place]; });
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
