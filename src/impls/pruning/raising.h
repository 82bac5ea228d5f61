// What the pruning strategies share beside the walk: the choice of the child to raise, and what may
// become of a node.
//
// A strategy is an estimate of errors and a decision. Bottom-up strategies meet a node when its
// children are settled and compare three figures: the node as a leaf, as the subtree it is, and as
// the child that could be raised into its place. The figure of a settled node is its stored error.
#pragma once

#include <algorithm>
#include <atomic>
#include <cassert>
#include <limits>
#include <vector>

#include "impls/pruning/active_walk.h"
#include "impls/tables/table.h"
#include "impls/trees/decision_tree.h"
#include "orvik/strategies.h"
#include "zel/adt/tree_walk.h"
#include "zel/util/run_context.h"

namespace orvik::impls::pruning {

using model::raising;

constexpr raising raising_of(bool graft, bool all) {
  if (!graft) return raising::none;
  return all ? raising::best_child : raising::largest_child;
}

enum class fate : unsigned char { keep, leaf, raise };

/// The child that could be raised, and the errors expected of it there. Without one the errors
/// are infinite, and no strategy raises.
struct candidate {
  unsigned int child = 0;
  double estimate = std::numeric_limits<double>::infinity();
};

/// Which of two children with equal estimates is raised.
enum class tie : unsigned char { smaller_subtree, later_child };

/// The child of the least estimate. One that is not a number never replaces another.
candidate best_of(const decision_tree& tree, const std::vector<double>& estimates, tie rule);

/// Cases of a node from which on its children are estimated side by side.
constexpr unsigned long k_parallel_cases = 1000;

/// The least figure so far, found by several threads. It only decides how soon an estimate that
/// cannot win is given up.
class least_figure {
 public:
  explicit least_figure(double most) : least_(most) {}
  double get() const { return least_.load(std::memory_order_relaxed); }
  void offer(double figure) {
    double now = get();
    while (figure < now && !least_.compare_exchange_weak(now, figure, std::memory_order_relaxed)) {
    }
  }

 private:
  std::atomic<double> least_;
};

/// The candidate of a split node; estimate(child, limit) is the errors of a child over all cases of
/// the node, infinity will do for more than `limit`; it may be called by several threads.
template <class Estimate>
candidate choose(const decision_tree& tree, raising how, tie rule, double limit,
                 const zel::util::run_context& run, const Estimate& estimate) {
  if (how == raising::none) return {};
  assert(tree.get_node()->is_active() && tree.get_no_childs() > 0);
  if (how == raising::largest_child) {
    const auto child = static_cast<unsigned int>(tree.get_largest_child());
    return {child, estimate(*tree.get_child(child), limit)};
  }
  std::vector<double> estimates(tree.get_no_childs());
  least_figure least(limit);
  const auto fill = [&](unsigned long i) {
    // The first child has its own figure whatever the others have: one that is no number stays.
    estimates[i] =
        estimate(*tree.get_child(static_cast<unsigned int>(i)), i == 0 ? limit : least.get());
    least.offer(estimates[i]);
  };
  if (tree.get_node()->n_cases() >= k_parallel_cases) {
    run.for_each_index(estimates.size(), fill);
  } else {
    for (unsigned long i = 0; i < estimates.size(); ++i) fill(i);
  }
  return best_of(tree, estimates, rule);
}

/// Puts child i of an active node in its place, activated on all cases of the node.
void raise(decision_tree& tree, unsigned int i, const table& t);

/// The visitor of bottom-up pruning. `Strategy` has the state and enter() of a visitor that visits
/// all nodes, and
///   tie_rule                      which of two equal candidates is raised
///   as_leaf(tree, here)           the errors of a tree as a leaf
///   as_child(child, here, limit)  the errors of a child over all cases of the tree, whose node
///                                 is active; infinity will do for more than `limit`
///   limit(leaf, subtree)          a candidate of more errors is not raised, whichever it is
///   decide(leaf, subtree, candidate)
template <class Strategy>
struct bottom_up {
  using state = typename Strategy::state;
  const table& t;
  raising how;
  const Strategy& strategy;
  const zel::util::run_context& run;

  bool enter(decision_tree& tree, state& here, const state* father) const {
    return strategy.enter(tree, here, father);
  }
  bool leave(decision_tree& tree, const state& here) const {
    const double leaf = strategy.as_leaf(tree, here);
    tree.get_node()->set_estimated_error(leaf);
    if (tree.get_no_childs() == 0) return false;
    const double subtree = tree.errors_of_children();
    // Nothing is estimated where not even a child without errors would be raised.
    const raising asked = strategy.decide(leaf, subtree, 0) == fate::raise ? how : raising::none;
    const candidate best = choose(tree, asked, Strategy::tie_rule, strategy.limit(leaf, subtree),
                                  run, [&](const decision_tree& child, double limit) {
                                    return strategy.as_child(child, here, limit);
                                  });
    switch (strategy.decide(leaf, subtree, best.estimate)) {
      case fate::keep:
        tree.get_node()->set_estimated_error(subtree);
        return false;
      case fate::leaf:
        tree.collapse();
        tree.get_node()->set_estimated_error(leaf);
        return false;
      case fate::raise:
        raise(tree, best.child, t);
        return true;
    }
    return false;
  }
};

/// Prunes bottom-up. Nodes are active only where children may be raised; else the statistics they
/// have are used.
/// @return the figure of what the tree has become.
template <class Strategy>
double prune_bottom_up(decision_tree& root, const table& t, raising how, const Strategy& strategy,
                       const zel::util::run_context& run) {
  const bottom_up<Strategy> visit{t, how, strategy, run};
  if (how == raising::none) {
    std::vector<typename Strategy::state> path;
    zel::adt::walk(
        root,
        [&](decision_tree& tree, unsigned long level) {
          path.resize(level);  // what is left of a finished subtree
          path.emplace_back();
          return visit.enter(tree, path[level], level == 0 ? nullptr : &path[level - 1]);
        },
        [&](decision_tree& tree, unsigned long level) { visit.leave(tree, path[level]); });
  } else {
    walk_active(root, t, visit, run);
  }
  return root.get_node()->estimated_error();
}

}  // namespace orvik::impls::pruning
