// The measure of a test with a branch for every value.
#pragma once

#include <algorithm>
#include <cassert>
#include <span>
#include <utility>

#include "impls/splitting/cells.h"
#include "impls/splitting/impurity.h"
#include "impls/tables/column.h"

namespace orvik::impls::splitting {

/// What the branches add up to, taken in the order of their codes.
template <class Impurity, class Amount>
class branch_sums {
 public:
  branch_sums(const Impurity& impurity, const node_facts<Amount>& node, Amount unknown)
      : impurity_(impurity), node_(node), unknown_(unknown) {
    sizes_.add(unknown);
  }

  /// `branch`: amounts by place; those of 0 may be left out.
  void add(std::span<const Amount> branch) {
    Amount size = 0;
    for (const Amount a : branch) size += a;
    large_ += size >= node_.min_weight;
    if (size != 0) infos_ += impurity_.of(branch, size);
    sizes_.add(size);
  }
  /// `known`: the amounts of all branches, by place.
  column::splitting_desc result(std::span<const Amount> known) const {
    const Amount known_sum = node_.total - unknown_;
    assert(known.size() == node_.n_places);
    if (known_sum == 0 || large_ < 2) return {};
    const auto k = static_cast<double>(known_sum);
    const double share = k / (static_cast<double>(unknown_) + k);
    const double gain = share * (impurity_.of(known, known_sum) / k - infos_ / k);
    return {0, 0, gain, sizes_.value() / static_cast<double>(node_.total)};
  }

 private:
  const Impurity& impurity_;
  const node_facts<Amount>& node_;
  Amount unknown_;
  std::size_t large_ = 0;  // branches of at least the least weight
  double infos_ = 0;
  info_sum<Amount> sizes_;
};

template <class Impurity, class Amount>
void add_branches(const dense_cells<Amount>& cells, scratch<Amount>&,
                  branch_sums<Impurity, Amount>& sums) {
  for (std::size_t at = 0; at < cells.cells.size(); at += cells.n_places) sums.add(cells.row(at));
}

/// Values that do not occur would add nothing to any sum.
template <class Impurity>
void add_branches(const sorted_cases<true>& cells, scratch<double>& s,
                  branch_sums<Impurity, double>& sums) {
  for (value_group v = cells.at(0); !v.is_past_last(); v = cells.at(v.end)) {
    s.cells.clear();
    cells.visit_cells(v, [&s](std::uint32_t, double w) { s.cells.push_back(w); });
    sums.add(s.cells);
  }
}

/// The keys of a value are not sorted by class: its cells are put in order. O(cases), and the
/// logarithm of the classes of a value.
template <class Impurity>
void add_branches(const sorted_keys& cells, scratch<count_t>& s,
                  branch_sums<Impurity, count_t>& sums) {
  s.left.assign(s.known.size(), 0);  // the cells of a value, by place
  for (value_group v = cells.at(0); !v.is_past_last(); v = cells.at(v.end)) {
    s.places.clear();
    s.cells.clear();
    for (const std::uint64_t key : cells.keys.subspan(v.begin, v.end - v.begin)) {
      count_t& cell = s.left[sorted_keys::place_of(key)];
      if (cell == 0) s.places.push_back(sorted_keys::place_of(key));
      cell += sorted_keys::count_of(key);
    }
    std::ranges::sort(s.places);
    for (const std::uint16_t place : s.places) s.cells.push_back(std::exchange(s.left[place], 0));
    sums.add(s.cells);
  }
}

/// Whether two branches have the least weight, as far as that is told without their logarithms,
/// which of weights cost most of a measure.
template <class Layout, class Amount>
bool may_part(const Layout&, const node_facts<Amount>&) {
  return true;
}
inline bool may_part(const dense_cells<double>& cells, const node_facts<double>& node) {
  std::size_t large = 0;
  for (std::size_t at = 0; at < cells.cells.size() && large < 2; at += cells.n_places) {
    double size = 0;
    for (const double w : cells.row(at)) size += w;
    large += size >= node.min_weight;
  }
  return large >= 2;
}

/// The measure of cells in any layout; `known` holds the known amount of every class.
template <class Impurity, class Layout, class Amount>
column::splitting_desc measure_branches(const Impurity& impurity, const Layout& cells,
                                        const node_facts<Amount>& node, Amount unknown,
                                        std::span<const Amount> known, scratch<Amount>& s) {
  if (!may_part(cells, node)) return {};
  branch_sums<Impurity, Amount> sums(impurity, node, unknown);
  add_branches(cells, s, sums);
  return sums.result(known);
}

}  // namespace orvik::impls::splitting
