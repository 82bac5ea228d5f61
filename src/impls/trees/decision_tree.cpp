#include "impls/trees/decision_tree.h"

#include "zel/adt/tree_walk.h"
#include "zel/util/number_util.h"

namespace orvik::impls {

namespace {

/// Clones the node of `from` into `to` and makes room for its children.
void copy_node(const table& t, const decision_tree& from, decision_tree& to,
               decision_node* father) {
  to.set_node(from.get_node()->clone(t, father));
  if (from.get_no_childs() > 0) to.resize(from.get_no_childs());
}

}  // namespace

decision_tree* decision_tree::clone(const table& t, decision_node* father) const {
  auto copy = std::make_unique<decision_tree>();
  copy_node(t, *this, *copy, father);
  // Pairs of trees whose children are still to be copied.
  std::vector<std::pair<const decision_tree*, decision_tree*>> open{{this, copy.get()}};
  while (!open.empty()) {
    const auto [from, to] = open.back();
    open.pop_back();
    for (unsigned int i = 0; i < from->get_no_childs(); ++i) {
      const decision_tree* child = from->get_child(i);
      if (child == nullptr) continue;
      auto* child_copy = new decision_tree;  // owned by `to` from the next line on
      to->set_child(i, child_copy);
      copy_node(t, *child, *child_copy, to->get_node());
      open.emplace_back(child, child_copy);
    }
  }
  return copy.release();  // to the caller
}

void decision_tree::add_empty_leaves(unsigned long n_codes) {
  for (unsigned int i = 0; i < get_no_childs(); ++i) {
    if (get_child(i) != nullptr) continue;
    set_child(i, new decision_tree);
    get_child(i)->set_node(new decision_node(get_node(), i + 1));
    get_child(i)->get_node()->set_as_empty_leaf(n_codes);
  }
}

double decision_tree::errors_of_children() const {
  double sum = 0;
  for (unsigned int i = 0; i < get_no_childs(); ++i) {
    if (get_child(i) != nullptr) sum += get_child(i)->get_node()->estimated_error();
  }
  return sum;
}

unsigned long decision_tree::get_largest_child() const {
  std::vector<double> fractions;
  for (unsigned int i = 0; i < get_no_childs(); ++i) {
    fractions.push_back(get_child(i)->get_node()->fraction());
  }
  return zel::util::number_util::argmax(fractions);
}

void decision_tree::set_used_atts(zel::adt::bitmap& used) const {
  zel::adt::walk(
      *this,
      [&used](const decision_tree& tree, unsigned long) {
        if (tree.get_no_childs() > 0) used.set(tree.get_node()->attribute());
        return true;
      },
      [](const decision_tree&, unsigned long) {});
}

void decision_tree::collapse() {
  get_node()->set_as_leaf();
  delete_childs();
}

}  // namespace orvik::impls
