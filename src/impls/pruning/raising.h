// What the pruning strategies share: the walk that has the cases at every node, the choice of the
// child to raise, and what may become of a node.
//
// A strategy is an estimate of errors and a decision. Bottom-up strategies meet a node when its
// children are settled and compare three figures: the node as a leaf, as the subtree it is, and as
// the child that could be raised into its place. The figure of a settled node is its stored error.
#pragma once

#include <limits>
#include <utility>
#include <vector>

#include "impls/tables/table.h"
#include "impls/trees/decision_tree.h"
#include "zel/adt/tree_walk.h"
#include "zel/util/parallel.h"

namespace orvik::impls::pruning {

/// Which child may take its father's place.
enum class raising : unsigned char { none, largest_child, best_child };

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

/// The candidate of a split node; estimate(child) is the errors of a child over all cases of the
/// node, and may be called by several threads.
template <class Estimate>
candidate choose(const decision_tree& tree, raising how, tie rule, const Estimate& estimate) {
  if (how == raising::none) return {};
  if (how == raising::largest_child) {
    const auto child = static_cast<unsigned int>(tree.get_largest_child());
    return {child, estimate(*tree.get_child(child))};
  }
  std::vector<double> estimates(tree.get_no_childs());
  const auto fill = [&](unsigned long i) {
    estimates[i] = estimate(*tree.get_child(static_cast<unsigned int>(i)));
  };
  if (tree.get_node()->n_cases() >= k_parallel_cases) {
    zel::util::parallel::for_each_index(estimates.size(), fill);
  } else {
    for (unsigned long i = 0; i < estimates.size(); ++i) fill(i);
  }
  return best_of(tree, estimates, rule);
}

/// Puts child i of an active node in its place, activated on all cases of the node.
void raise(decision_tree& tree, unsigned int i, const table& t);

/// Stored errors of the children.
double sum_of_children(const decision_tree& tree);

/// Throws std::runtime_error for a root that is to be activated and has no cases.
void require_cases(const decision_node& root);

/// Holds the node of a tree active, whichever node that is in the end. Does nothing for a node
/// that is active already.
class activation {
 public:
  /// Of a root on its own cases, which it must have.
  activation(decision_tree& tree, const table& t);
  /// Of a child on the cases of its branch.
  activation(decision_tree& tree, const table& t, column::branch_cases branch);
  activation(activation&& from) noexcept : tree_(std::exchange(from.tree_, nullptr)) {}
  activation& operator=(activation&& from) noexcept {
    std::swap(tree_, from.tree_);
    return *this;
  }
  ~activation() {
    if (tree_ != nullptr) tree_->get_node()->disactivate();
  }

 private:
  decision_tree* tree_;  // null: nothing to release
};

/// The cases of every branch of an active split node, in one pass.
std::vector<column::branch_cases> split_cases(const decision_tree& tree, const case_list& cases,
                                              double weight, const table& t);

/// Depth-first walk as zel::adt::walk() makes it, with every node active, on its cases of `t`,
/// from enter to leave; this recomputes its statistics. enter may raise a child of the tree it is
/// given. leave returns whether the tree, whose child it has raised, is to be walked anew.
/// Memory: the cases of the nodes of one path and of their children.
template <class Enter, class Leave>
void walk_active(decision_tree& root, const table& t, const Enter& enter, const Leave& leave) {
  struct step {
    decision_tree* tree;
    activation held;
    std::vector<column::branch_cases> branches;  // of the children still to be visited
    unsigned int next;
    bool open;
  };
  std::vector<step> path;
  const auto go_to = [&](decision_tree& tree, activation held) {
    path.push_back({&tree, std::move(held), {}, 0, false});
    path.back().open = enter(tree, path.size() - 1);
  };
  go_to(root, activation(root, t));
  while (!path.empty()) {
    step& top = path.back();
    decision_tree& tree = *top.tree;
    if (top.open && top.next < tree.get_no_childs()) {
      const decision_node& node = *tree.get_node();
      if (top.next == 0) top.branches = split_cases(tree, *node.cases(), node.weight(), t);
      const unsigned int i = top.next++;
      decision_tree& child = *tree.get_child(i);
      go_to(child, activation(child, t, std::move(top.branches[i])));  // `top` is gone from here
    } else if (leave(tree, path.size() - 1)) {
      top.branches.clear();
      top.next = 0;
      top.open = enter(tree, path.size() - 1);
    } else {
      path.pop_back();
    }
  }
}

/// Prunes bottom-up. `strategy` has
///   tie_rule                      which of two equal candidates is raised
///   enter(tree, level)            called before the children
///   as_leaf(tree, level)          the errors of a tree as a leaf
///   as_child(child, level, limit) the errors of a child over all cases of the tree, whose node
///                                 is active; infinity will do for more than `limit`
///   limit(leaf, subtree)          a candidate of more errors is not raised, whichever it is
///   decide(leaf, subtree, candidate)
/// Nodes are active only where children may be raised; else the statistics they have are used.
/// @return the figure of what the tree has become.
template <class Strategy>
double prune_bottom_up(decision_tree& root, const table& t, raising how, Strategy strategy) {
  const auto enter = [&](decision_tree& tree, unsigned long level) {
    strategy.enter(tree, level);
    return true;
  };
  const auto leave = [&](decision_tree& tree, unsigned long level) {
    const double leaf = strategy.as_leaf(tree, level);
    tree.get_node()->set_estimated_error(leaf);
    if (tree.get_no_childs() == 0) return false;
    const double subtree = sum_of_children(tree);
    // Nothing is estimated where not even a child without errors would be raised.
    const raising asked = strategy.decide(leaf, subtree, 0) == fate::raise ? how : raising::none;
    const double limit = strategy.limit(leaf, subtree);
    const candidate best = choose(tree, asked, Strategy::tie_rule, [&](const decision_tree& child) {
      return strategy.as_child(child, level, limit);
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
  };
  if (how == raising::none) {
    zel::adt::walk(root, enter, leave);
  } else {
    walk_active(root, t, enter, leave);
  }
  return root.get_node()->estimated_error();
}

}  // namespace orvik::impls::pruning
