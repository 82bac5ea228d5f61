#include "impls/growing/told_subtrees.h"

#include <cstring>

#include "impls/trees/packed_tree.h"

namespace orvik::impls::growing {

namespace {

/// Puts what was grown below a copy of a leaf below the leaf itself.
void graft(decision_tree& leaf, decision_tree& grown) {
  if (!grown.get_node()->is_split()) return;
  leaf.get_node()->set_test(grown.get_node()->test());
  leaf.resize(grown.get_no_childs());
  for (unsigned int i = 0; i < grown.get_no_childs(); ++i) {
    decision_tree* const child = grown.get_child(i);
    grown.clear_child(i);
    leaf.set_child(i, child);
    if (child != nullptr) child->get_node()->set_father(leaf.get_node());
  }
}

}  // namespace

void tell_subtree(const table& t, const decision_tree& tree, std::string& to) {
  const std::string bytes = packed_tree(t, tree).to_bytes();
  const std::uint64_t length = bytes.size();
  to.append(reinterpret_cast<const char*>(&length), sizeof length);
  to += bytes;
}

void take_subtrees(const growing_plan& plan, std::span<const growing_node> leaves,
                   std::string_view told) {
  for (const growing_node& leaf : leaves) {
    std::uint64_t length = 0;
    std::memcpy(&length, told.data(), sizeof length);
    told.remove_prefix(sizeof length);
    const packed_tree packed = packed_tree::of_bytes(plan.t(), told.substr(0, length));
    graft(*leaf.tree, *packed.unpack(/*complete=*/!plan.leaves_out_empty()));
    told.remove_prefix(length);
  }
}

}  // namespace orvik::impls::growing
