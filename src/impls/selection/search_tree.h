// The trees of all subsets in one: a node for every sequence of tests that some tree T(S) begins
// with, and at the node what all these trees know of it.
//
// What an attribute is worth at a node hangs on the cases there, never on the other attributes. So
// a node keeps the descriptor of every attribute that was asked for, and choosing a test for
// another subset, the comparison with the mean gain included, costs no look at the cases. Where
// the choice is one that another subset made before, its children are there, with their
// descriptors; data is touched only below a choice that is new.
//
// Attributes are measured on copies of the case lists: the order of a list, and with it the last
// bit of a sum of fractional weights, does not hang on what was measured before.
#pragma once

#include <memory>
#include <span>
#include <vector>

#include "impls/selection/setting.h"
#include "impls/trees/decision_node.h"

namespace orvik::impls::selection {

struct search_node;

/// The children of a node under one of its tests.
struct node_split {
  split_test test;  // without its cut until there are children
  std::vector<std::unique_ptr<search_node>> children;

  unsigned int attribute() const { return test.attribute; }
};

/// A search case that came here past an unknown value, with the share of it that did.
struct part {
  unsigned long at;
  double share;
};

struct search_node {
  search_node(decision_node* father, unsigned int position) : stats(father, position) {}
  explicit search_node(case_list* cases) : stats(cases) {}

  decision_node stats;               // of the growing cases; active unless `closed`
  unsigned long levels = 0;          // of splits that may follow
  bool closed = false;               // a leaf under every subset
  unsigned long leaf_errors = 0;     // units of `whole` that are wrong where this is a leaf
  std::vector<unsigned long> whole;  // search cases that came by known values; none if `closed`
  std::vector<part> parts;
  std::vector<candidate> tests;  // by attribute; what a subset may choose from
  std::vector<char> measured;    // by position in `tests`
  std::vector<node_split> splits;
  std::unique_ptr<search_node> next_open;  // while the tree is taken apart

  /// Null where no subset chose the test yet.
  const node_split* split_on(unsigned int attribute) const;
};

/// Threads: one; it spreads its work over the workers, and grows the same for any number of them.
class search_tree {
 public:
  /// With what subsets of `usable` need. `s` and `cases` must outlive the tree.
  search_tree(const setting& s, const search_cases& cases, attribute_set usable);
  ~search_tree();
  search_tree(const search_tree&) = delete;
  search_tree& operator=(const search_tree&) = delete;

  /// Grows whatever T(S) of the given subsets lacks; a search tree that takes too much memory is
  /// grown anew, so what was grown by an earlier call may be gone. @return false if the time was up
  /// before.
  bool grow(std::span<const attribute_set> subsets, const deadline& limit);
  const search_node& root() const { return *root_; }

  /// Looks at a case: once an attribute that is measured, once a split that it goes down.
  unsigned long visits() const { return visits_; }

 private:
  struct open_node;
  struct measurement;
  struct new_splits;

  void forget();
  void measure(std::vector<open_node>& open);
  void measure(const measurement& m);
  std::vector<std::size_t> shared_parts(std::span<const measurement> missing) const;
  void measure_shared_out(std::span<const measurement> missing, std::span<const std::size_t> ends);
  void choose(std::vector<open_node>& open) const;
  void split(std::vector<open_node>& open);
  void make_children(search_node& node, node_split& split) const;
  void route(search_node& node, const node_split& split) const;
  void settle(search_node& node, unsigned long levels) const;
  void account(const search_node& node, const node_split& split);

  const setting& s_;
  const search_cases& cases_;
  attribute_set usable_;
  case_list growing_;
  std::unique_ptr<search_node> root_;
  unsigned long visits_ = 0;
  unsigned long bytes_ = 0;  // of the nodes below the root, about
};

}  // namespace orvik::impls::selection
