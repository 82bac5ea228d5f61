#include "orvik/tree_node.h"

#include <cassert>
#include <stdexcept>

#include "impls/rendering/description.h"
#include "impls/trees/decision_tree.h"

namespace orvik {

namespace {

constexpr char k_no_test[] = "a leaf has no test";
constexpr char k_no_father[] = "a root has no father";

const impls::decision_node& node_of(const impls::decision_tree& tree) {
  assert(tree.get_node() != nullptr);
  return *tree.get_node();
}

/// The node, which has a test.
const impls::decision_node& split_of(const impls::decision_tree& tree) {
  if (impls::is_leaf(tree)) throw std::runtime_error(k_no_test);
  return node_of(tree);
}

/// The node, which has a father.
const impls::decision_node& below_root(const impls::decision_tree& tree) {
  if (node_of(tree).father() == nullptr) throw std::runtime_error(k_no_father);
  return node_of(tree);
}

/// `branch`, which is one of a node.
unsigned int checked(unsigned long branch, unsigned long n) {
  if (branch < n) return static_cast<unsigned int>(branch);
  throw std::runtime_error("there is no branch " + std::to_string(branch) + " of a node with " +
                           std::to_string(n));
}

branch_test::relation relation_of(const impls::branch_test& test) {
  if (test.how == impls::branch_test::EQUAL) return branch_test::EQUAL;
  if (test.how == impls::branch_test::OTHER) return branch_test::OTHER;
  return test.how == impls::branch_test::UP_TO ? branch_test::UP_TO : branch_test::ABOVE;
}

/// What the split node asks on a branch.
branch_test test_of(const impls::table& t, const impls::decision_node& split,
                    unsigned long branch) {
  const impls::branch_test test = impls::test_of_branch(t, split, branch);
  assert(test.how != impls::branch_test::UNKNOWN && test.how != impls::branch_test::UNHANDLED);
  return {{*test.tested, t.column_index_of(split.attribute())}, relation_of(test), test.code};
}

}  // namespace

unsigned long tree_node::n_children() const { return tree_->get_no_childs(); }
tree_node tree_node::child(unsigned long i) const {
  const impls::decision_tree* const below = tree_->get_child(checked(i, n_children()));
  return {std::shared_ptr<const impls::decision_tree>(tree_, below), *schema_};
}
unsigned long tree_node::size() const { return tree_->size(); }
unsigned long tree_node::leaves() const { return tree_->leaves(); }
unsigned long tree_node::depth() const { return tree_->depth(); }

unsigned long tree_node::attribute() const { return split_of(*tree_).attribute(); }

column_view tree_node::tested() const {
  const unsigned long a = attribute();
  return {schema_->column_of(a), schema_->column_index_of(a)};
}

branch_test tree_node::test(unsigned long branch) const {
  return test_of(*schema_, split_of(*tree_), checked(branch, n_children()));
}

unsigned long tree_node::branch() const { return below_root(*tree_).position() - 1; }

branch_test tree_node::test_before() const {
  const impls::decision_node& below = below_root(*tree_);
  return test_of(*schema_, *below.father(), below.position() - 1);
}

std::string tree_node::printed_test_before() const {
  return impls::printed_test(impls::test_before(*schema_, below_root(*tree_)));
}

double tree_node::weight() const { return node_of(*tree_).weight(); }
unsigned long tree_node::n_cases() const { return node_of(*tree_).n_cases(); }
double tree_node::fraction() const { return node_of(*tree_).fraction(); }
const double* tree_node::class_weights() const { return node_of(*tree_).class_weights(); }
code_t tree_node::predicted() const { return node_of(*tree_).get_leaf_class(); }
double tree_node::confidence() const { return node_of(*tree_).get_leaf_classfreq(); }
double tree_node::stored_error() const { return node_of(*tree_).estimated_error(); }
std::string tree_node::printed_counts() const { return impls::printed_counts(node_of(*tree_)); }

std::vector<placed_node> nodes_of(const tree_node& root, unsigned long depth) {
  std::vector<placed_node> nodes;
  struct step {
    long place;
    unsigned long next;  // the child to visit next
  };
  std::vector<step> path;
  const auto enter = [&](const tree_node& node) {
    nodes.push_back({node, path.empty() ? -1 : path.back().place, path.size()});
    path.push_back({static_cast<long>(nodes.size()) - 1, 0});
  };
  for (enter(root); !path.empty();) {
    step& top = path.back();
    const tree_node father = nodes[static_cast<std::size_t>(top.place)].node;
    if (path.size() <= depth && top.next < father.n_children()) {
      enter(father.child(top.next++));
    } else {
      path.pop_back();
    }
  }
  return nodes;
}

}  // namespace orvik
