// The cells of boolean attributes whose values are bits of a word a row: filled in one pass over
// the cases. Counts are made at the bits that are set; the others are what remains. A sum of
// weights less some of them is not the sum of the others to the last bit: it goes along with the
// sum of the class until the first case whose bit is set, and from there on its own way.
#pragma once

#include <array>
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

/// The same and, in that pass, which of the `wanted` some cases have set and some clear.
inline std::uint64_t fill_varying(const counted_node& node,
                                  std::span<const std::uint64_t> flags_of_row, std::uint64_t wanted,
                                  std::vector<count_t>& set) {
  const std::size_t n = node.n_places;
  set.assign(static_cast<std::size_t>(std::bit_width(wanted)) * n, 0);
  std::uint64_t some = 0, all = wanted;
  for (const counted_case& c : node.cases) {
    const std::uint64_t of_row = flags_of_row[c.row] & wanted;
    const std::size_t place = node.places[c.class_code];
    for (std::uint64_t flags = of_row; flags != 0; flags &= flags - 1) {
      set[static_cast<std::size_t>(std::countr_zero(flags)) * n + place] += c.count;
    }
    some |= of_row;
    all &= of_row;
  }
  return some & ~all;
}

/// What fill_flags() makes of weights.
struct flag_sums {
  std::size_t n_flags = 0;
  std::vector<double> clear, set;      // by place, then by flag
  std::vector<double> known;           // by place
  std::vector<std::uint64_t> own_way;  // by place: flags whose clear cell is a sum by itself
  std::vector<double> cells;

  void start(std::size_t flags, std::size_t n_places) {
    n_flags = flags;
    clear.assign(n_places * flags, 0);
    set.assign(n_places * flags, 0);
    known.assign(n_places, 0);
    own_way.assign(n_places, 0);
  }
  /// The cells of one flag, code 1 clear and 2 set. Valid until the next call.
  dense_cells<double> of(unsigned flag) {
    const std::size_t n = known.size();
    cells.resize(2 * n);
    for (std::size_t i = 0; i < n; ++i) {
      cells[i] = (own_way[i] >> flag & 1) != 0 ? clear[i * n_flags + flag] : known[i];
      cells[n + i] = set[i * n_flags + flag];
    }
    return {cells, {}, n, 1};
  }
};

/// Calls visit(flag) for every one that is set.
template <class Visit>
void for_each_flag(std::uint64_t flags, const Visit& visit) {
  for (; flags != 0; flags &= flags - 1) visit(static_cast<std::size_t>(std::countr_zero(flags)));
}

/// The flags that some cases have set and some clear.
template <class Case>
std::uint64_t varying_flags(std::span<const Case> cases,
                            std::span<const std::uint64_t> flags_of_row) {
  std::uint64_t some = 0, all = ~std::uint64_t{0};
  for (const Case& c : cases) {
    some |= flags_of_row[c.row];
    all &= flags_of_row[c.row];
  }
  return some & ~all;
}

/// Adds to all flags but those of `set`, in one plain loop.
inline void add_to_others(std::span<double> sums, std::uint64_t set, double weight) {
  std::array<double, 64> kept;
  for_each_flag(set, [&](std::size_t flag) { kept[flag] = sums[flag]; });
  for (double& sum : sums) sum += weight;
  for_each_flag(set, [&](std::size_t flag) { sums[flag] = kept[flag]; });
}

/// Adds up the weights of all cells of the `wanted` flags, each in the order of the cases.
inline void fill_flags(const weighed_node& node, std::span<const std::uint64_t> flags_of_row,
                       std::uint64_t wanted, flag_sums& sums) {
  constexpr int k_many = 8;  // are faster added to all at once; what is no sum yet is set later
  const auto n = static_cast<std::size_t>(std::bit_width(wanted));
  sums.start(n, node.n_places);
  for (const weighed_case& c : node.cases) {
    const std::uint64_t set = flags_of_row[c.row] & wanted;
    const std::span<double> clear = std::span(sums.clear).subspan(c.place * n, n);
    double* const own = sums.set.data() + c.place * n;
    const double before = sums.known[c.place];
    const std::uint64_t parted = sums.own_way[c.place];
    if (std::popcount(parted) > k_many) {
      add_to_others(clear, set, c.weight);
    } else {
      for_each_flag(parted & ~set, [&](std::size_t flag) { clear[flag] += c.weight; });
    }
    for_each_flag(set & ~parted, [&](std::size_t flag) { clear[flag] = before; });
    for_each_flag(set, [&](std::size_t flag) { own[flag] += c.weight; });
    sums.own_way[c.place] = parted | set;
    sums.known[c.place] = before + c.weight;
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
