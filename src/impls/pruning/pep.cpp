// Pessimistic error pruning (Quinlan, Simplifying decision trees, 1987): training errors are
// corrected by one half a leaf, and a subtree must be better than a leaf by one standard error.
// Top down: a subtree that does not keep up is never looked into.
#include <algorithm>
#include <cmath>
#include <limits>

#include "impls/pruning/estimation.h"
#include "impls/pruning/strategies.h"

namespace orvik::impls {

namespace {

constexpr double k_correction = 0.5;  // errors a leaf

using leaf_counts = std::unordered_map<const decision_tree*, unsigned long>;
using pruning::fate;

/// Corrected errors plus their standard error among n cases; not a number for more errors than
/// cases.
double pessimistic(double errors, double n) {
  return errors + std::sqrt(errors * (n - errors) / n);
}

/// Nothing is done on account of a figure that is not a number.
fate decide(double leaf, double subtree, double child) {
  if (std::isnan(subtree)) return fate::keep;
  if (!std::isnan(child) && subtree >= child && leaf > child) return fate::raise;
  return subtree >= leaf ? fate::leaf : fate::keep;
}

struct pep : pruning::visitor {
  const table& t;
  pruning::raising how;
  const zel::util::run_context& run;
  leaf_counts& leaves;  // entries are changed, each with its tree, but none is added or removed

  /// Deliberate: a tree without an entry, a leaf, is charged nothing.
  double correction(const decision_tree& tree) const {
    const auto found = leaves.find(&tree);
    return found == leaves.end() ? 0 : k_correction * static_cast<double>(found->second);
  }
  double as_leaf(const decision_tree& tree) const {
    return tree.get_node()->get_estimated_error_if_leaf() + k_correction;
  }
  double as_subtree(const decision_tree& tree) const {
    const decision_node& node = *tree.get_node();
    return pessimistic(node.estimated_error() + correction(tree), node.weight());
  }
  /// Pessimistic errors are never fewer than the errors, so `limit` holds for these. But where the
  /// first of several is not a number it stays the best: its errors must be known.
  double as_child(const decision_tree& tree, const decision_tree& child, double limit) const {
    const bool is_first = how == pruning::raising::best_child && &child == tree.get_child(0);
    const double errors =
        child.prune_pep_est(t, is_first ? std::numeric_limits<double>::infinity() : limit);
    if (std::isinf(errors)) return errors;
    return pessimistic(errors + correction(child), tree.get_node()->weight());
  }
  /// Puts child i in its father's place, with statistics and stored errors of its new cases.
  void raise(decision_tree& tree, unsigned int i) const {
    const auto child = leaves.find(tree.get_child(i));
    leaves.find(&tree)->second = child == leaves.end() ? 0 : child->second;
    pruning::raise(tree, i, t);
    pruning::walk_active(tree, t, pruning::visitor(), run);
    tree.set_estimated_error_from_leaf_error();
  }
  /// Decides on a node until it is kept or a leaf.
  bool enter(decision_tree& tree, state&, const state*) const {
    while (tree.get_no_childs() > 0) {
      const double leaf = as_leaf(tree), subtree = as_subtree(tree);
      const pruning::candidate best = pruning::choose(
          tree, std::isnan(subtree) ? pruning::raising::none : how, pruning::tie::smaller_subtree,
          std::min(leaf, subtree), run,
          [&](const decision_tree& child, double limit) { return as_child(tree, child, limit); });
      switch (decide(leaf, subtree, best.estimate)) {
        case fate::keep:
          return true;
        case fate::leaf:
          tree.collapse();
          return false;
        case fate::raise:
          raise(tree, best.child);
      }
    }
    return false;
  }
};

}  // namespace

unsigned long decision_tree::set_nleaves(leaf_counts& leaves) const {
  std::vector<unsigned long> below;  // by level: leaves of the trees left there so far
  zel::adt::walk(
      *this,
      [&](const decision_tree&, unsigned long level) {
        below.resize(std::max<unsigned long>(below.size(), level + 2));
        return true;
      },
      [&](const decision_tree& tree, unsigned long level) {
        const unsigned long n = std::exchange(below[level + 1], 0);
        if (tree.get_no_childs() > 0) leaves[&tree] = n;
        below[level] += tree.get_no_childs() > 0 ? n : 1;
      });
  return below[0];
}

double decision_tree::prune_pep_est(const table& t, double limit) const {
  return pruning::sum_over_leaves(*this, t, *get_node()->father()->cases(), limit,
                                  [](const pruning::reached& r) { return r.leaf_error(); });
}

void decision_tree::prune_pep(const table& t, leaf_counts& leaves, bool graft, bool all,
                              zel::util::run_context& run) {
  const pruning::raising how = pruning::raising_of(graft, all);
  const pep rules{{}, t, how, run, leaves};
  if (how != pruning::raising::none) {
    pruning::walk_active(*this, t, rules, run);
    return;
  }
  pruning::visitor::state none;
  zel::adt::walk(
      *this, [&](decision_tree& tree, unsigned long) { return rules.enter(tree, none, nullptr); },
      [](const decision_tree&, unsigned long) {});
}

void pruning::prune_by_pep(decision_tree& tree, const material& with, raising how) {
  leaf_counts leaves;
  tree.set_nleaves(leaves);
  tree.prune_pep(with.t, leaves, how != raising::none, how == raising::best_child, with.run);
  tree.set_estimated_error_from_leaf_error();
}

}  // namespace orvik::impls
