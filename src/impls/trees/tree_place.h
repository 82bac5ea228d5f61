// A node of the container seen as packed_tree::node is: what goes through trees to predict is
// written once for both.
#pragma once

#include <cassert>

#include "impls/trees/decision_tree.h"

namespace orvik::impls {

class tree_place {
 public:
  explicit tree_place(const decision_tree& tree) : tree_(&tree) {}

  bool is_leaf() const { return tree_->get_no_childs() == 0; }
  const split_test& test() const { return tree_->get_node()->test(); }
  unsigned long n_branches() const { return tree_->get_no_childs(); }
  /// There must be one.
  tree_place child(std::size_t branch) const {
    assert(branch < tree_->get_no_childs());
    return tree_place(*tree_->get_child(static_cast<unsigned int>(branch)));
  }
  /// Calls f(branch, child) for the children there are, in order.
  template <class F>
  void for_each_child(const F& f) const {
    for (unsigned int i = 0; i < tree_->get_no_childs(); ++i) {
      if (tree_->get_child(i) != nullptr) f(std::size_t{i}, child(i));
    }
  }
  /// Calls f(code, weight) for the classes of some weight, of n codes.
  template <class F>
  void for_each_weight(unsigned long n, const F& f) const {
    for (code_t c = 0; c < n; ++c) {
      if (const double w = tree_->get_node()->class_weight(c); w != 0) f(c, w);
    }
  }
  const decision_node* operator->() const { return tree_->get_node(); }

 private:
  const decision_tree* tree_;
};

}  // namespace orvik::impls
