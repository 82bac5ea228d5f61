// What a subtree would do with other cases than those it was grown on: the question behind every
// candidate for raising. The subtree itself is not touched: statistics are computed beside it.
#pragma once

#include <algorithm>
#include <cmath>
#include <limits>
#include <memory>
#include <span>
#include <utility>
#include <vector>

#include "impls/pruning/raising.h"
#include "zel/util/number_util.h"

namespace orvik::impls::pruning {

/// The cases that would reach a node, summed up as decision_node does.
struct reached {
  unsigned long n_cases;
  std::span<const double> distribution;  // by class code
  double weight;
  double fraction;  // of the known weight at its father; that of the node itself at the top
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

/// Fills in the distribution and what follows from it.
inline void sum_up(const case_list& cases, const table& t, std::span<double> distribution,
                   reached& r) {
  std::fill(distribution.begin(), distribution.end(), 0.0);
  visit_class_codes(t.class_column().codes(), [&](const auto* classes) {
    for (const auto& [row, weight] : cases) distribution[classes[row]] += weight;
  });
  for (const double w : distribution) r.weight += w;
  r.majority = static_cast<class_t>(zel::util::number_util::argmax(distribution));
}

/// At which nodes the distribution, the weight and the majority are wanted: at the leaves, or also
/// at nodes above a leaf.
enum class summed : unsigned char { leaves, leaves_and_fathers };

/// Whether to sum up the cases of a node. A split needs the weight for the shares of cases of
/// unknown value.
inline bool is_summed(const decision_tree& tree, const table& t, summed where) {
  if (tree.get_no_childs() == 0) return true;
  if (t.column_of(tree.get_node()->attribute()).values()->has_null()) return true;
  if (where == summed::leaves) return false;
  for (unsigned int i = 0; i < tree.get_no_childs(); ++i) {
    if (tree.get_child(i)->get_no_childs() == 0) return true;
  }
  return false;
}

/// Errors of a subtree whose root gets `cases`. ask(tree, level, reached) is called at every node,
/// fathers first and children in order, and says an opinion, of no negative errors; the errors of
/// a subtree are the sum of its children's. Ends early, with infinity, once the sum is above
/// `limit`. Memory: the cases once, besides the list given.
template <class Ask>
double errors_on(const decision_tree& root, const table& t, const case_list& cases, double limit,
                 summed where, const Ask& ask) {
  struct step {
    const decision_tree* tree;
    std::vector<column::branch_cases> branches;  // of the children still to be visited
    unsigned int next;
    double errors;
  };
  std::vector<step> path;
  std::vector<double> distribution(t.n_class_codes());
  double so_far = 0;  // over all leaves
  // Asks about a node and splits its cases, or gives its errors as a leaf.
  const auto go_to = [&](const decision_tree& tree, const case_list& here, double fraction) {
    const bool leaf = tree.get_no_childs() == 0;
    reached r{here.size(), distribution, 0.0, fraction, 0};
    if (is_summed(tree, t, where)) sum_up(here, t, distribution, r);
    const opinion said = ask(tree, path.size(), r);
    step next{&tree, {}, tree.get_no_childs(), said.errors};
    if (said.descend && !leaf) {
      next.branches = split_cases(tree, here, r.weight, t);
      next.next = 0;
      next.errors = 0;
    } else {
      so_far += said.errors;
    }
    path.push_back(std::move(next));
  };
  go_to(root, cases, root.get_node()->fraction());
  for (;;) {
    step& top = path.back();
    if (top.next < top.tree->get_no_childs()) {
      const unsigned int i = top.next++;
      const column::branch_cases branch = std::move(top.branches[i]);
      go_to(*top.tree->get_child(i), *branch.cases, branch.fraction);  // `top` is gone from here
      continue;
    }
    if (surely_above(so_far, limit)) return std::numeric_limits<double>::infinity();
    const double errors = top.errors;
    path.pop_back();
    if (path.empty()) return errors;
    path.back().errors += errors;
  }
}

/// The same with the errors of a leaf alone: leaf_errors(reached). They must be 0 without cases.
template <class LeafErrors>
double sum_over_leaves(const decision_tree& root, const table& t, const case_list& cases,
                       double limit, const LeafErrors& leaf_errors) {
  return errors_on(
      root, t, cases, limit, summed::leaves,
      [&](const decision_tree& tree, unsigned long, const reached& r) {
        return opinion{tree.get_no_childs() == 0 ? leaf_errors(r) : 0.0, r.n_cases > 0};
      });
}

}  // namespace orvik::impls::pruning
