// How well an attribute splits the cases of a node: its cells are filled in the layout that costs
// less, and scanned for the best test.
//
// Weights and counts go the same way, and so give the same result to the last bit where all weights
// are 1. They differ in what is added in which order: the known weights of the classes come from
// the cells for a cut, from the list for branches; counts are exact whichever way.
#pragma once

#include "impls/splitting/branch_search.h"
#include "impls/splitting/cells.h"
#include "impls/splitting/cut_search.h"

namespace orvik::impls::splitting {

/// Notes which class a value has, or that it has several: those of cases without weight too. A run
/// of one class ends with them. Counts are never 0, and tell it themselves.
template <class Amount>
struct note_classes {
  std::uint32_t* of_value;

  void operator()(std::size_t value, std::uint32_t place, Amount) const {
    if constexpr (!is_exact<Amount>) {
      std::uint32_t& seen = of_value[value];
      seen = seen == k_absent || seen == place ? place : k_mixed;
    }
  }
};

/// Adds up the known weights of the classes; counts are known.
template <class Amount>
struct add_in_list_order {
  Amount* known;

  void operator()(std::size_t, std::uint32_t place, Amount a) const {
    if constexpr (!is_exact<Amount>) known[place] += a;
  }
};

/// The cut of cells in any layout.
template <class Impurity, class Layout, class Amount>
splitting_desc cut_of_cells(const Impurity& impurity, const Layout& cells,
                            const node_facts<Amount>& node, Amount unknown, scratch<Amount>& s) {
  if constexpr (!is_exact<Amount>) cells.add_to(s.known);
  s.left.assign(node.n_places, 0);
  return best_cut<Impurity, Layout, Amount>(impurity, cells, node, unknown, s.left, s.known);
}

template <class Impurity, class Node, class Codes>
splitting_desc sparse_cut(const Impurity& impurity, const Codes& codes, const Node& node,
                          const code_range& range, scratch<typename Node::amount>& s) {
  using amount = typename Node::amount;
  node.start_known(s.known);
  amount unknown;
  const auto cells = fill_sparse(node, codes, range, s, unknown, nothing_else());
  return cut_of_cells<Impurity, decltype(cells), amount>(impurity, cells, node, unknown, s);
}

template <class Impurity, class Node, class Codes>
splitting_desc dense_cut(const Impurity& impurity, const Codes& codes, const Node& node,
                         const code_range& range, scratch<typename Node::amount>& s) {
  using amount = typename Node::amount;
  node.start_known(s.known);
  if (!is_exact<amount>) s.value_class.assign(range.second - range.first, k_absent);
  amount unknown;
  const dense_cells<amount> cells =
      fill_dense(node, codes, range, s, unknown, note_classes<amount>{s.value_class.data()});
  return cut_of_cells<Impurity, dense_cells<amount>, amount>(impurity, cells, node, unknown, s);
}

/// The best cut. O(cases + codes * classes), of sparse cells O(cases + codes + cuts * classes).
template <class Impurity, class Node, class Codes>
splitting_desc measure_continuous(const Impurity& impurity, const Codes& codes, const Node& node,
                                  const code_range& range, scratch<typename Node::amount>& s) {
  return is_sparse(node, range) ? sparse_cut(impurity, codes, node, range, s)
                                : dense_cut(impurity, codes, node, range, s);
}

/// A branch for every value. O(cases + codes * classes), of sparse cells O(cases + classes).
template <class Impurity, class Node, class Codes>
splitting_desc measure_discrete(const Impurity& impurity, const Codes& codes, const Node& node,
                                const code_range& range, scratch<typename Node::amount>& s) {
  using amount = typename Node::amount;
  node.start_known(s.known);
  const add_in_list_order<amount> add{s.known.data()};
  amount unknown;
  const auto measure = [&](const auto& cells) {
    return measure_branches<Impurity, std::remove_cvref_t<decltype(cells)>, amount>(
        impurity, cells, node, unknown, s.known, s);
  };
  // A branch without cases would count as large where the least weight is none.
  return is_sparse(node, range) && node.min_weight > 0
             ? measure(fill_sparse(node, codes, range, s, unknown, add))
             : measure(fill_dense(node, codes, range, s, unknown, add));
}

}  // namespace orvik::impls::splitting
