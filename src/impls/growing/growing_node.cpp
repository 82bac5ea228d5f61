#include "impls/growing/growing_node.h"

#include <cassert>

#include "impls/splitting/split_choice.h"

namespace orvik::impls {

bool find_candidates(const growing_plan& plan, const growing_node& open_node,
                     std::vector<candidate>& candidates) {
  decision_node& node = *open_node.tree->get_node();
  candidates.clear();
  node.set_as_leaf();
  if (open_node.depth == 0) return false;
  require_known(plan.type());
  if (node.stays_leaf(plan.min_weight())) return false;
  for (unsigned int a = 0; a < plan.attributes().size(); ++a) {
    const narrow_range& range = open_node.piece.ranges[a];
    if (plan.attributes()[a].usable && range.second > range.first + 1)
      candidates.push_back({a, {}});
  }
  return true;
}

void make_active_children(const growing_plan& plan, const growing_node& of,
                          std::vector<growing_node>& open) {
  const table& t = plan.t();
  decision_tree& tree = *of.tree;
  const unsigned long depth = of.depth;
  decision_node& node = *tree.get_node();
  assert(node.is_active() && node.is_split() && depth > 0);
  std::vector<branch_cases> branches = node.branches(t);
  tree.set_capacity(static_cast<unsigned int>(branches.size()));
  // The tree owns its children.
  // NOLINTNEXTLINE(clang-analyzer-cplusplus.NewDeleteLeaks)
  for (unsigned int i = 0; i < branches.size(); ++i) {
    if (branches[i].cases->empty() && plan.leaves_out_empty()) {
      tree.push_back_child(nullptr);
      continue;
    }
    auto child = std::make_unique<decision_tree>();
    child->set_node(new decision_node(&node, i + 1));
    decision_node& child_node = *child->get_node();
    child_node.activate_on(t, std::move(branches[i]));
    if (depth == 1 || child_node.stays_leaf(plan.min_weight())) {
      child_node.set_as_leaf();
      child_node.disactivate();
    } else {
      open.push_back({child.get(), depth - 1, {}, of.seed_of_branch(i)});
    }
    tree.push_back_child(child.release());
  }
  node.disactivate();
}

}  // namespace orvik::impls
