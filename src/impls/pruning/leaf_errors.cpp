// What all strategies share: errors of the training cases at the leaves, and pre-pruning.
#include "impls/pruning/prepruning.h"
#include "impls/pruning/raising.h"
#include "impls/trees/decision_tree.h"
#include "zel/adt/tree_walk.h"

namespace orvik::impls {

namespace {

bool visit(const decision_tree&, unsigned long) { return true; }

}  // namespace

double decision_tree::set_estimated_error_from_leaf_error(const pricing& price) {
  zel::adt::walk(*this, visit, [&price](decision_tree& tree, unsigned long) {
    decision_node& node = *tree.get_node();
    node.set_estimated_error(tree.get_no_childs() == 0 ? node.price_if_leaf(price)
                                                       : tree.errors_of_children());
  });
  return get_node()->estimated_error();
}

double decision_tree::preprune(double bound, const pricing& price) {
  zel::adt::walk(*this, visit, [bound, &price](decision_tree& tree, unsigned long) {
    decision_node& node = *tree.get_node();
    const double leaf_error = node.price_if_leaf(price);
    if (tree.get_no_childs() == 0) {
      node.set_estimated_error(leaf_error);
      return;
    }
    const double subtree_error = tree.errors_of_children();
    if (leaf_error <= bound && pruning::is_prepruned(leaf_error, subtree_error)) {
      tree.collapse();
      node.set_estimated_error(leaf_error);
    } else {
      node.set_estimated_error(subtree_error);
    }
  });
  return get_node()->estimated_error();
}

}  // namespace orvik::impls
