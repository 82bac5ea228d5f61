// The indented text form of trees and models.
//
// A leaf stands behind the condition that leads to it, an inner node below. Every number has one
// decimal; the stream keeps that format.
#include <iomanip>

#include "impls/model/dtree.h"
#include "impls/rendering/description.h"
#include "zel/adt/tree_walk.h"

namespace orvik::impls {

namespace {

constexpr char k_level[] = "|   ";

void write_leaf(const table& t, const decision_node& node, std::ostream& out) {
  out << ' ' << printed_class(t, node) << " (" << node.weight();
  if (node.estimated_error() > 0) out << '/' << node.estimated_error();
  out << ')';
}

void write_condition(const branch_test& test, std::ostream& out) {
  out << printed_test(test);
  if (test.how == branch_test::UNHANDLED) return;
  const bool of_value = test.how == branch_test::EQUAL || test.how == branch_test::OTHER;
  out << (of_value ? ":" : " :");
}

void set_number_format(std::ostream& out) { out << std::fixed << std::setprecision(1); }

void write_selected(const table& t, const zel::adt::bitmap& selected, std::ostream& out) {
  out << "\nFEATURES SELECTED (size= " << selected.count() << ") ";
  const char* before = "";
  for (const unsigned long a : selected) {
    out << before << t.column_of(a).name();
    before = ",";
  }
  out << '\n';
}

}  // namespace

void decision_node::toTEXT(const table& t, std::ostream& out, unsigned long branch) const {
  set_number_format(out);
  is_split() ? write_condition(test_of_branch(t, *this, branch), out) : write_leaf(t, *this, out);
}

void decision_tree::toTEXT(const table& t, std::ostream& out, unsigned long depth) const {
  zel::adt::walk(
      *this,
      [&](const decision_tree& tree, unsigned long level) {
        const decision_node& node = *tree.get_node();
        if (level > 0) {
          out << '\n';
          for (unsigned long i = 1; i < depth + level; ++i) out << k_level;
          node.father()->toTEXT(t, out, node.position() - 1);
        }
        if (tree.get_no_childs() == 0) node.toTEXT(t, out, 0);
        return true;
      },
      [](const decision_tree&, unsigned long) {});
  out.flush();
}

void dtree::toTEXT(std::ostream& out, unsigned long depth) const {
  require_trees();
  if (search_.made_by != model::NO_SELECTION) write_selected(*table_, *attributes_, out);
  if (trees_.decides().calibrates()) {
    out << "\nSHARES CALIBRATED (" << name_of(trees_.decides().maps().how())
        << "): classes are predicted by them, not by the leaves\n";
  }
  out << '\n';
  if (is_ensemble()) {
    out << "DECISION FOREST (ntrees=" << n_trees() << ')';
  } else {
    out << "DECISION TREE (size=" << trees_.size() << ')';
  }
  out << '\n';
  for (unsigned long i = 0; i < n_trees(); ++i) {
    const std::shared_ptr<const decision_tree> tree = get_tree(i);
    if (is_ensemble()) out << "\nTREE (n=" << i << ", size=" << tree->size() << ")\n";
    tree->toTEXT(*table_, out, depth);
    out << '\n';
  }
}

}  // namespace orvik::impls
