// Cases at the nodes of a grown tree, for as long as pruning works on them.
#pragma once

#include <utility>

#include "impls/tables/table.h"
#include "impls/trees/decision_tree.h"

namespace orvik::impls::pruning {

/// Throws std::runtime_error for a root that is to be activated and has no cases.
void require_cases(const decision_node& root);

/// Holds the node of a tree active, whichever node that is in the end. Does nothing for a node
/// that is active already.
class activation {
 public:
  /// Of a root on its own cases, which it must have.
  activation(decision_tree& tree, const table& t);
  /// Of a child on the cases of its branch.
  activation(decision_tree& tree, const table& t, branch_cases branch);
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

}  // namespace orvik::impls::pruning
