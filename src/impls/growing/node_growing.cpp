#include "impls/growing/node_growing.h"

#include <cassert>

namespace orvik::impls {

growing_node node_growing::start(decision_tree& root, unsigned long max_depth, unsigned long seed) {
  assert(root.get_node()->is_active() && root.get_no_childs() == 0);
  growing_node first{&root, max_depth, {}, seed};
  if (counted_growing::possible(plan_, *root.get_node()->cases())) {
    first.piece = counted_.take_root(*root.get_node());
  } else if (weighed_growing::possible(plan_, *root.get_node()->cases())) {
    weighed_.take_root(first);
  }
  return first;
}

void node_growing::grow(growing_node&& node, std::vector<growing_node>& open) {
  plan_.run().require_not_cancelled();
  if (node.weighed.memory) return weighed_.grow(std::move(node), open);
  if (node.piece.ranges) return counted_.grow(std::move(node), open);
  decision_tree& tree = *node.tree;
  if (node.depth == 0) {
    tree.get_node()->set_as_leaf();
  } else {
    tree.get_node()->split(plan_.t(), plan_.rules(), draw_, node.seed, plan_.run());
  }
  if (tree.get_node()->is_split()) {
    return make_active_children(plan_, node, open);
  }
  tree.get_node()->disactivate();
}

void node_growing::grow_by_branches(growing_node&& root) {
  std::vector<growing_node> open;
  open.push_back(std::move(root));
  unsigned long n_grown = 0;
  while (!open.empty()) {
    growing_node node = std::move(open.back());
    open.pop_back();
    grow(std::move(node), open);
    ++n_grown;
  }
  run().count(zel::util::progress::unit::nodes, n_grown);
}

void node_growing::measure(growing_node& of, std::vector<candidate>& candidates) const {
  of.weighed.memory ? weighed_.measure(of, candidates) : counted_.measure(of, candidates);
}

void node_growing::tell_branches(const growing_node& of, std::string& to) const {
  of.weighed.memory ? weighed_.tell_branches(of, to) : counted_.tell_branches(of, to);
}

growing::told_branches node_growing::read_branches(const growing_node& of,
                                                   std::string_view& told) const {
  const decision_node& node = *of.tree->get_node();
  return {told, node.test(), node.get_no_of_splits(plan_.t()), n_entries(of)};
}

void node_growing::make_children(growing_node& node, const growing::told_branches& told,
                                 std::vector<growing_node>& open) {
  node.weighed.memory ? weighed_.make_children(node, told, open)
                      : counted_.make_children(node, told, open);
}

growing_node node_growing::adopt(growing_node&& node, const node_growing& from) {
  growing_node own = std::move(node);
  if (!own.weighed.memory) {
    counted_.adopt(own.piece, from.counted_.cases_of(own.piece));
    return own;
  }
  std::uint32_t row = 0;
  for (splitting::weighed_case& c : own.weighed.cases()) c.row = row++;
  return own;
}

}  // namespace orvik::impls
