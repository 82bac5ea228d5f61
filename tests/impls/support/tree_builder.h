// Decision trees put together by hand, for tests of what is done with a tree.
#pragma once

#include <algorithm>
#include <functional>
#include <memory>
#include <sstream>
#include <string>
#include <utility>
#include <vector>

#include "impls/tables/table.h"
#include "impls/trees/decision_tree.h"

namespace orvik::impls {

/// A node to be built: a leaf, or a test with a child for every branch.
struct tree_plan {
  std::vector<double> weights;  // by class code, from 1
  unsigned int attribute = 0;
  code_t cut = 0;  // 0: a branch for every value
  std::vector<tree_plan> children;
};

inline tree_plan leaf(std::vector<double> weights) { return {std::move(weights), 0, 0, {}}; }

/// A split node that holds what its children hold.
inline tree_plan split(unsigned int attribute, code_t cut, std::vector<tree_plan> children) {
  std::vector<double> sums(children[0].weights.size());
  for (const tree_plan& child : children) {
    for (std::size_t c = 0; c < sums.size(); ++c) sums[c] += child.weights[c];
  }
  return {std::move(sums), attribute, cut, std::move(children)};
}
inline tree_plan split(unsigned int attribute, std::vector<tree_plan> children) {
  return split(attribute, 0, std::move(children));
}

/// A node at `position` (from 1) below `father`, which is null for a root; undecided.
inline decision_node* make_node(const std::vector<double>& weights, decision_node* father,
                                unsigned int position) {
  auto node = father == nullptr ? std::make_unique<decision_node>(nullptr)
                                : std::make_unique<decision_node>(father, position);
  auto distribution = std::make_unique<double[]>(weights.size() + 1);
  std::copy(weights.begin(), weights.end(), distribution.get() + 1);
  double sum = 0;
  for (const double w : weights) sum += w;
  const double fraction = father == nullptr || father->weight() == 0 ? 1 : sum / father->weight();
  node->set_statistics(std::move(distribution), weights.size() + 1, static_cast<unsigned long>(sum),
                       fraction);
  return node.release();  // to the caller
}

inline void build_into(decision_tree& tree, const tree_plan& plan, decision_node* father,
                       unsigned int position) {
  tree.set_node(make_node(plan.weights, father, position));
  decision_node* node = tree.get_node();
  if (plan.children.empty()) {
    node->set_as_leaf();
    return;
  }
  node->set_test(plan.cut == 0 ? split_test{plan.attribute}
                               : split_test::cut_at(plan.attribute, plan.cut));
  const auto n = static_cast<unsigned int>(plan.children.size());
  tree.set_capacity(n);
  for (unsigned int i = 0; i < n; ++i) {
    tree.push_back_child(new decision_tree);  // the tree's from here on
    build_into(*tree.get_child(i), plan.children[i], node, i + 1);
  }
}

inline std::unique_ptr<decision_tree> build_tree(const tree_plan& plan) {
  auto tree = std::make_unique<decision_tree>();
  build_into(*tree, plan, nullptr, 0);
  return tree;
}

/// A path of `levels` split nodes on attribute 0, cut 1, over two classes. A node's first
/// child is a leaf with the weights that leaf_at gives for its level, the second one goes on; the
/// last node is a leaf of the weights for `levels`. Each node holds what lies below it.
inline std::unique_ptr<decision_tree> build_path(
    unsigned long levels, const std::function<std::vector<double>(unsigned long)>& leaf_at) {
  std::vector<std::vector<double>> sums(levels + 1, std::vector<double>(2));
  for (unsigned long i = levels + 1; i-- > 0;) {
    sums[i] = leaf_at(i);
    for (std::size_t c = 0; c < 2 && i < levels; ++c) sums[i][c] += sums[i + 1][c];
  }
  auto root = std::make_unique<decision_tree>();
  root->set_node(make_node(sums[0], nullptr, 0));
  decision_tree* tree = root.get();
  for (unsigned long i = 0; i < levels; ++i) {
    decision_node* node = tree->get_node();
    node->set_test(split_test::cut_at(0, 1));
    tree->set_capacity(2);
    for (unsigned int branch = 1; branch <= 2; ++branch) {
      tree->push_back_child(new decision_tree);
      tree->get_child(branch - 1)
          ->set_node(make_node(branch == 1 ? leaf_at(i) : sums[i + 1], node, branch));
    }
    tree->get_child(0)->get_node()->set_as_leaf();
    tree = tree->get_child(1);
  }
  tree->get_node()->set_as_leaf();
  return root;
}

/// A tree grown from a root over `cases`: split(node, level) splits a node or leaves it a leaf.
template <class Split>
std::unique_ptr<decision_tree> grow_level_by_level(const table& t, case_list& cases,
                                                   const Split& split) {
  auto root = std::make_unique<decision_tree>();
  root->set_node(new decision_node(&cases));
  root->get_node()->activate(&t, false);
  std::vector<std::pair<decision_tree*, unsigned long>> open{{root.get(), 0}};
  for (std::size_t at = 0; at < open.size(); ++at) {
    const auto [tree, level] = open[at];
    decision_node& node = *tree->get_node();
    split(node, level);
    const auto n = static_cast<unsigned int>(node.is_split() ? node.get_no_of_splits(t) : 0);
    tree->set_capacity(n);
    for (unsigned int i = 0; i < n; ++i) {
      tree->push_back_child(new decision_tree);  // the tree's from here on
      tree->get_child(i)->set_node(new decision_node(&node, i + 1));
      tree->get_child(i)->get_node()->activate(&t, false);
      open.emplace_back(tree->get_child(i), level + 1);
    }
    node.disactivate();
  }
  return root;
}

inline std::string text_of(const decision_tree& tree, const table& t) {
  std::ostringstream out;
  tree.toTEXT(t, out, 0);
  return out.str();
}

/// Every number of every node to the last bit: trees with equal marks are equal.
inline std::string exact_text_of(const decision_tree& tree, const table& t) {
  std::ostringstream out;
  out << std::hexfloat;
  zel::adt::walk(
      tree,
      [&](const decision_tree& at, unsigned long level) {
        const decision_node& n = *at.get_node();
        out << level << (n.is_split() ? " split " : " leaf ") << n.attribute() << ' '
            << n.test().code << ' ' << n.fraction() << ' ' << n.estimated_error() << ' '
            << n.n_cases() << " :";
        for (code_t c = 0; c < t.n_class_codes(); ++c) out << ' ' << n.class_weight(c);
        out << '\n';
        return true;
      },
      [](const decision_tree&, unsigned long) {});
  return out.str();
}

}  // namespace orvik::impls
