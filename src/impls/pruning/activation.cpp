#include "impls/pruning/activation.h"

#include <stdexcept>

namespace orvik::impls::pruning {

namespace {

constexpr char k_no_cases[] = "no training cases provided to prune the tree";

}  // namespace

void require_cases(const decision_node& root) {
  if (root.cases() == nullptr) throw std::runtime_error(k_no_cases);
}

activation::activation(decision_tree& tree, const table& t) : tree_(nullptr) {
  decision_node& node = *tree.get_node();
  if (node.is_active()) return;
  if (node.father() == nullptr) require_cases(node);
  node.activate(&t, false);
  tree_ = &tree;
}

activation::activation(decision_tree& tree, const table& t, branch_cases branch) : tree_(nullptr) {
  tree.get_node()->activate_on(t, std::move(branch));
  tree_ = &tree;
}

}  // namespace orvik::impls::pruning
