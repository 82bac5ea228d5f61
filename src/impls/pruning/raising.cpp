#include "impls/pruning/raising.h"

#include <stdexcept>

namespace orvik::impls::pruning {

namespace {

constexpr char k_no_cases[] = "no training cases provided to prune the tree";

}  // namespace

candidate best_of(const decision_tree& tree, const std::vector<double>& estimates, tie rule) {
  const auto wins_tie = [&](unsigned int i, unsigned int best) {
    return rule == tie::later_child || tree.get_child(i)->size() < tree.get_child(best)->size();
  };
  candidate best{0, estimates[0]};
  for (unsigned int i = 1; i < estimates.size(); ++i) {
    const double e = estimates[i];
    if (e < best.estimate || (e == best.estimate && wins_tie(i, best.child))) best = {i, e};
  }
  return best;
}

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

activation::activation(decision_tree& tree, const table& t, column::branch_cases branch)
    : tree_(nullptr) {
  tree.get_node()->activate(t, std::move(branch));
  tree_ = &tree;
}

std::vector<column::branch_cases> split_cases(const decision_tree& tree, const case_list& cases,
                                              double weight, const table& t) {
  const decision_node& node = *tree.get_node();
  return t.column_of(node.attribute())
      .split(cases, tree.get_no_childs(), weight, static_cast<code_t>(node.threshold()));
}

void raise(decision_tree& tree, unsigned int i, const table& t) {
  tree.get_child(i)->get_node()->activate_from_father(&t, /*take_place=*/true);
  tree.get_node()->disactivate();
  tree.replace_with_son(i);
}

double sum_of_children(const decision_tree& tree) {
  double sum = 0;
  for (unsigned int i = 0; i < tree.get_no_childs(); ++i) {
    sum += tree.get_child(i)->get_node()->estimated_error();
  }
  return sum;
}

}  // namespace orvik::impls::pruning
