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
#include "impls/splitting/narrow_cut.h"
#include "impls/splitting/random_cut.h"
#include "impls/splitting/value_search.h"
#include "orvik/growth.h"

namespace orvik::impls::splitting {

/// Notes which class a value has, or that it has several: those of cases without weight too. A run
/// of one class ends with them. Amounts that are never 0 tell it themselves.
struct note_classes {
  std::uint32_t* of_value;

  void operator()(std::size_t value, std::uint32_t place, double) const {
    std::uint32_t& seen = of_value[value];
    seen = seen == k_absent || seen == place ? place : k_mixed;
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
struct find_cut {
  template <class Impurity, class Layout, class Amount>
  static splitting_desc in(const Impurity& impurity, const Layout& cells,
                           const node_facts<Amount>& node, Amount unknown, scratch<Amount>& s) {
    if constexpr (!is_exact<Amount>) cells.add_to(s.known);
    s.left.assign(node.n_places, 0);
    if constexpr (is_exact<Amount>) {
      if (const auto found = cut_of_few(impurity, cells, node, unknown, s)) return *found;
    }
    return best_cut<Impurity, Layout, Amount>(impurity, cells, node, unknown, s.left, s.known,
                                              s.cut);
  }
};

/// The value to be tested against all others.
struct find_value {
  template <class Impurity, class Layout, class Amount>
  static splitting_desc in(const Impurity& impurity, const Layout& cells,
                           const node_facts<Amount>& node, Amount unknown, scratch<Amount>& s) {
    if constexpr (!is_exact<Amount>) cells.add_to(s.known);
    return best_value<Impurity, Layout, Amount>(impurity, cells, node, unknown, s);
  }
};

template <class Find, class Impurity, class Node, class Codes>
splitting_desc find_sparse(const Impurity& impurity, const Codes& codes, const Node& node,
                           const code_range& range, scratch<typename Node::amount>& s) {
  using amount = typename Node::amount;
  node.start_known(s.known);
  amount unknown;
  const auto cells = fill_sparse(node, codes, range, s, unknown, nothing_else());
  return Find::template in<Impurity, decltype(cells), amount>(impurity, cells, node, unknown, s);
}

template <class Find, class Impurity, class Node, class Codes>
splitting_desc find_dense(const Impurity& impurity, const Codes& codes, const Node& node,
                          const code_range& range, scratch<typename Node::amount>& s) {
  using amount = typename Node::amount;
  node.start_known(s.known);
  amount unknown;
  const auto find = [&](const dense_cells<amount>& cells) {
    return Find::template in<Impurity, dense_cells<amount>, amount>(impurity, cells, node, unknown,
                                                                    s);
  };
  if constexpr (!is_exact<amount>) {
    if (node.some_weigh_nothing) {
      s.value_class.assign(range.second - range.first, k_absent);
      return find(fill_dense(node, codes, range, s, unknown, note_classes{s.value_class.data()}));
    }
    s.value_class.clear();
  }
  return find(fill_dense(node, codes, range, s, unknown, nothing_else()));
}

/// The best test in two: a cut, or one value against the others. O(cases + codes * classes), of
/// sparse cells O(cases + codes + values that occur * classes).
template <class Find, class Impurity, class Node, class Codes>
splitting_desc measure_in_two(const Impurity& impurity, const Codes& codes, const Node& node,
                              const code_range& range, scratch<typename Node::amount>& s) {
  return is_sparse(node, range) ? find_sparse<Find>(impurity, codes, node, range, s)
                                : find_dense<Find>(impurity, codes, node, range, s);
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

/// Whether a discrete column is tested for one of its values; of two, each is the other's rest.
inline bool tests_one_value(const growth& how, const column& measured) {
  return how.one_value && measured.values()->size_of_known() > 2;
}

/// The best test on a column whose cells are not at hand otherwise; `draw` for a random cut.
template <class Impurity, class Node, class Codes>
splitting_desc measure_test(const Impurity& impurity, const column& measured, const Codes& codes,
                            const Node& node, const code_range& range, const growth& how,
                            zel::util::quick_gen* draw, scratch<typename Node::amount>& s) {
  if (measured.type() == column::CONTINUOUS) {
    return how.random_cuts ? measure_random_cut(impurity, *measured.values(), codes, node, s, *draw)
                           : measure_in_two<find_cut>(impurity, codes, node, range, s);
  }
  return tests_one_value(how, measured)
             ? measure_in_two<find_value>(impurity, codes, node, range, s)
             : measure_discrete(impurity, codes, node, range, s);
}

}  // namespace orvik::impls::splitting
