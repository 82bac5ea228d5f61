// The cases of one node as a measure reads them: each with the place of its class and an amount.
#pragma once

#include <span>
#include <vector>

#include "impls/splitting/counted_cases.h"
#include "impls/splitting/impurity.h"
#include "impls/types.h"

namespace orvik::impls::splitting {

/// What a measure asks of a node beside its cases.
template <class Amount>
struct node_facts {
  Amount total;               // of all cases
  double min_weight;          // m, the least of a branch
  std::size_t n_places;       // of classes, from 0
  std::size_t n_all_classes;  // of the class column
  bool free = false;          // a cut is bound by m alone, and costs nothing
};

/// One case: its row, the place of its class and what it adds.
template <class Amount>
struct case_part {
  row_t row;
  std::uint32_t place;
  Amount amount;
};

/// Cases by weight; the place of a class is its code - 1.
template <class Classes>
struct weighed_cases : node_facts<double> {
  using amount = double;
  std::span<const case_list::value_type> cases;
  Classes classes;                                  // class codes by row
  static constexpr bool some_weigh_nothing = true;  // for all that is known

  std::size_t size() const { return cases.size(); }
  case_part<double> operator[](std::size_t i) const {
    const auto& [row, weight] = cases[i];
    return {row, std::uint32_t{classes[row]} - 1, weight};
  }
  /// What the known amounts of the classes begin with.
  void start_known(std::vector<double>& known) const { known.assign(n_places, 0.0); }
};

/// A case that may weigh anything as growing handles it, its class beside it.
struct weighed_case {
  std::uint32_t row;
  std::uint16_t class_code;
  std::uint16_t place;  // of its class at the node it was last measured at
  double weight;
};

/// Cases by weight that have their places with them; only classes that occur have one.
struct weighed_node : node_facts<double> {
  using amount = double;
  std::span<const weighed_case> cases;
  bool some_weigh_nothing;

  std::size_t size() const { return cases.size(); }
  case_part<double> operator[](std::size_t i) const {
    const weighed_case& c = cases[i];
    return {c.row, c.place, c.weight};
  }
  void start_known(std::vector<double>& known) const { known.assign(n_places, 0.0); }
};

/// Counted cases; only classes that occur have places.
struct counted_node : node_facts<count_t> {
  using amount = count_t;
  std::span<const counted_case> cases;
  const std::uint16_t* places;      // by class code
  std::span<const count_t> totals;  // by place

  std::size_t size() const { return cases.size(); }
  case_part<count_t> operator[](std::size_t i) const {
    const counted_case& c = cases[i];
    return {c.row, places[c.class_code], c.count};
  }
  /// All amounts: the unknown ones are taken off.
  void start_known(std::vector<count_t>& known) const {
    known.assign(totals.begin(), totals.end());
  }
};

}  // namespace orvik::impls::splitting
