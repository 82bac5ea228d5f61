// Trees as graphs in the DOT language, for Graphviz.
//
// A node is numbered when its father's edge to it is written. Numbers ascend in the order of the
// walk, and one is left out after each inner node but the root. The trees of a forest are written
// into one graph and all begin at 0.
#include <cmath>

#include "impls/model/dtree.h"
#include "impls/rendering/description.h"
#include "zel/adt/tree_walk.h"

namespace orvik::impls {

namespace {

constexpr char k_line_break[] = "\\n";  // DOT's own escape

/// A text between double quotes: a quote or a backslash in it must not end it or begin an escape.
std::string in_label(const std::string& text) {
  std::string label;
  label.reserve(text.size());
  for (const char c : text) {
    if (c == '"' || c == '\\') label += '\\';
    label += c;
  }
  return label;
}

double one_decimal_down(double x) { return std::floor(x * 10) / 10; }

void write_node(const table& t, const decision_tree& tree, unsigned long id, std::ostream& out) {
  const decision_node& node = *tree.get_node();
  out << 'n' << id;
  if (is_leaf(tree)) {
    out << " [ shape=ellipse, label=\"" << in_label(printed_class(t, node)) << k_line_break << '('
        << one_decimal_down(node.weight()) << '/' << one_decimal_down(node.estimated_error())
        << ")\"]\n";
  } else {
    out << " [ shape=box, label=\"" << in_label(t.column_of(node.attribute()).name())
        << k_line_break << "\"]\n";
  }
}

void write_edge(const branch_test& test, unsigned long from, unsigned long to, std::ostream& out) {
  out << 'n' << from << " -> n" << to << " [label=\"";
  switch (test.how) {
    case branch_test::EQUAL:
      out << in_label(test.printed_value());
      break;
    case branch_test::OTHER:
      out << "!=" << in_label(test.printed_value());
      break;
    case branch_test::UP_TO:
      out << "<=" << in_label(test.printed_value());
      break;
    case branch_test::ABOVE:
    case branch_test::UNKNOWN:
      out << '>' << in_label(test.printed_value());
      break;
    case branch_test::UNHANDLED:
      break;
  }
  out << "\"]\n";
}

}  // namespace

unsigned long decision_tree::toDOT(const table& t, std::ostream& out, unsigned long id) const {
  struct numbers {
    unsigned long own;
    unsigned long next;  // of the next child; after the last one what the subtree returns
  };
  std::vector<numbers> path;
  unsigned long passed = id;
  zel::adt::walk(
      *this,
      [&](const decision_tree& tree, unsigned long level) {
        const unsigned long own = level == 0 ? id : path.back().next;
        if (level > 0) write_edge(test_before(t, *tree.get_node()), path.back().own, own, out);
        write_node(t, tree, own, out);
        path.push_back({own, own + 1});
        return true;
      },
      [&](const decision_tree& tree, unsigned long) {
        passed = is_leaf(tree) ? path.back().own : path.back().next;
        path.pop_back();
        if (!path.empty()) path.back().next = passed + 1;
      });
  return passed;
}

void dtree::toDOT(std::ostream& out) const {
  require_trees();
  out << "digraph Orvik {\n";
  if (trees_.decides().calibrates()) {
    out << "// Shares are calibrated (" << name_of(trees_.decides().maps().how())
        << "): classes are predicted by them, not by the leaves\n";
  }
  for (unsigned long i = 0; i < n_trees(); ++i) get_tree(i)->toDOT(*table_, out, 0);
  out << "}\n";
}

}  // namespace orvik::impls
