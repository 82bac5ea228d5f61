// What a subtree would do with other cases than those it was grown on: the question behind every
// candidate for raising. The subtree itself is not touched: statistics are computed beside it.
#pragma once

#include <cassert>
#include <cmath>
#include <limits>
#include <span>
#include <vector>

#include "impls/pruning/raising.h"
#include "impls/trees/case_stack.h"
#include "impls/trees/distribution.h"

namespace orvik::impls::pruning {

/// The cases that would reach a node, summed up as decision_node does.
struct reached {
  std::span<const double> distribution;  // by class code
  double weight;
  class_t majority;

  /// Weight outside the majority class.
  double leaf_error() const { return weight - distribution[majority]; }
};

/// What an estimate says of a node: its errors as a leaf, and whether its subtree, if it has one,
/// is asked instead.
struct opinion {
  double errors;
  bool descend;
};

/// Whether a sum of errors will be above `limit` in whatever order it is rounded.
inline bool surely_above(double errors, double limit) {
  constexpr double k_margin = 1e-9;  // relative; more than a sum of any length is off by
  return errors > limit + k_margin * (1 + std::abs(limit));
}

/// The training cases that would reach the nodes of a subtree, the current one's on top.
class training_cases {
 public:
  training_cases(const table& t, const case_list& at_root)
      : t_(t), cases_(at_root), distribution_(t.n_class_codes()) {}

  bool empty() const { return cases_.top().empty(); }
  void pop() { cases_.pop(); }

  /// Of the current node; valid until the next call.
  reached sum_up() {
    sum_by_class(t_.class_column(), cases_.top(), distribution_);
    const distribution classes(distribution_);
    return {distribution_, classes.sum(), static_cast<class_t>(classes.decide())};
  }

  /// Goes on to the children of the current node. @return their shares of the cases of unknown
  /// value; of no meaning where the column has no such values.
  case_stack::share_list split(const decision_tree& tree) {
    assert(tree.get_no_childs() > 0);
    const split_test& test = tree.get_node()->test();
    const column& tested = t_.column_of(test.attribute);
    const double total = tested.values()->has_null() ? sum_up().weight : 0;
    return cases_.split(tested, test, tree.get_no_childs(), total);
  }

 private:
  const table& t_;
  case_stack cases_;
  std::vector<double> distribution_;
};

/// Errors of a subtree: the sum of those of its children. `Estimate` has
///   ask(tree, level)  the opinion of a node, of no negative errors
///   split(tree)       called where the children are asked, before they are
///   pop()             called where they are not
/// Nodes are met fathers first and children in order. Ends early, with infinity, once the sum is
/// above `limit`.
template <class Estimate>
double errors_of_subtree(const decision_tree& root, double limit, Estimate& estimate) {
  struct step {
    const decision_tree* tree;
    unsigned int next;  // the child to ask next
    double errors;
  };
  std::vector<step> path;
  double so_far = 0;  // over all leaves
  const auto go_to = [&](const decision_tree& tree) {
    const opinion said = estimate.ask(tree, path.size());
    if (said.descend && tree.get_no_childs() > 0) {
      estimate.split(tree);
      path.push_back({&tree, 0, 0.0});
    } else {
      estimate.pop();
      so_far += said.errors;
      path.push_back({&tree, tree.get_no_childs(), said.errors});
    }
  };
  go_to(root);
  for (;;) {
    step& top = path.back();
    if (top.next < top.tree->get_no_childs()) {
      go_to(*top.tree->get_child(top.next++));  // `top` is gone from here
      continue;
    }
    if (surely_above(so_far, limit)) return std::numeric_limits<double>::infinity();
    const double errors = top.errors;
    path.pop_back();
    if (path.empty()) return errors;
    path.back().errors += errors;
  }
}

/// The same where the errors of a leaf are leaf_errors(reached), which must be 0 without cases.
template <class LeafErrors>
double sum_over_leaves(const decision_tree& root, const table& t, const case_list& cases,
                       double limit, const LeafErrors& leaf_errors) {
  struct estimate {
    training_cases cases;
    const LeafErrors& leaf_errors;

    opinion ask(const decision_tree& tree, unsigned long) {
      if (tree.get_no_childs() > 0) return {0.0, !cases.empty()};
      return {leaf_errors(cases.sum_up()), false};
    }
    void split(const decision_tree& tree) { cases.split(tree); }
    void pop() { cases.pop(); }
  };
  estimate over{training_cases(t, cases), leaf_errors};
  return errors_of_subtree(root, limit, over);
}

}  // namespace orvik::impls::pruning
