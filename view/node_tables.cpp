#include "node_tables.h"

#include <algorithm>
#include <map>
#include <set>

#include "impls/rendering/description.h"
#include "zel/adt/tree_walk.h"

namespace orvview {

namespace impls = orvik::impls;

namespace {

std::vector<const impls::decision_tree*> trees_of(const impls::dtree& model) {
  std::vector<const impls::decision_tree*> trees;
  for (unsigned long i = 0; i < model.n_trees(); ++i) trees.push_back(&model.get_tree(i));
  return trees;
}

}  // namespace

unsigned long tested_column::branches() const {
  return is_cut() ? 2 : values_of->values()->size_of_known();
}

node_tables::node_tables(const impls::dtree& model)
    : node_tables(*model.get_training_table(), trees_of(model)) {}

node_tables::node_tables(const impls::table& schema,
                         const std::vector<const impls::decision_tree*>& trees)
    : n_class_codes_(schema.n_class_codes()), column_of_attribute_(schema.n_attributes()) {
  find_columns(schema, trees);
  for (const impls::decision_tree* tree : trees) add_tree(*tree);
}

void node_tables::find_columns(const impls::table& schema,
                               const std::vector<const impls::decision_tree*>& trees) {
  std::map<unsigned int, std::set<impls::code_t>> cuts;  // by attribute
  const auto note = [&](const impls::decision_tree& tree, unsigned long) {
    if (is_leaf(tree)) return true;
    const impls::branch_test test = test_of_branch(schema, *tree.get_node(), 0);
    auto& of_attribute = cuts[tree.get_node()->attribute()];
    if (test.how == impls::branch_test::UP_TO) of_attribute.insert(test.code);
    return true;
  };
  for (const impls::decision_tree* tree : trees) {
    zel::adt::walk(*tree, note, [](const impls::decision_tree&, unsigned long) {});
  }
  for (const auto& [attribute, codes] : cuts) {
    column_of_attribute_[attribute] = static_cast<long>(columns.size());
    columns.push_back({&schema.column_of(attribute),
                       schema.column_index_of(attribute),
                       {codes.begin(), codes.end()}});
  }
}

void node_tables::add_tree(const impls::decision_tree& tree) {
  const unsigned long root = nodes.size();
  roots.push_back(root);
  std::vector<const impls::decision_tree*> level_by_level{&tree};
  for (std::size_t at = 0; at < level_by_level.size(); ++at) {
    const impls::decision_tree& subtree = *level_by_level[at];
    nodes.push_back(node_of(subtree, root + level_by_level.size()));
    for (unsigned int i = 0; i < subtree.get_no_childs(); ++i) {
      level_by_level.push_back(subtree.get_child(i));
    }
  }
}

table_node node_tables::node_of(const impls::decision_tree& tree, unsigned long next) {
  const impls::decision_node& node = *tree.get_node();
  if (is_leaf(tree)) {
    const unsigned long first = shares.size();
    add_shares(node);
    return {table_node::k_leaf,    node.get_leaf_class(), first,
            shares.size() - first, node.weight(),         &tree};
  }
  const long place = column_of_attribute_[node.attribute()];
  const std::vector<impls::code_t>& cuts = columns[static_cast<std::size_t>(place)].cuts;
  const auto cut = std::ranges::lower_bound(cuts, node.test().cut);
  const auto limit = cuts.empty() ? 0 : static_cast<unsigned long>(cut - cuts.begin()) + 1;
  return {place, limit, next, tree.get_no_childs(), node.weight(), &tree};
}

/// Without weight, the whole of what comes goes to the leaf's class.
void node_tables::add_shares(const impls::decision_node& leaf) {
  if (!(leaf.weight() > 0)) {
    shares.push_back({leaf.get_leaf_class(), 1.0});
    return;
  }
  for (impls::code_t c = 0; c < n_class_codes_; ++c) {
    if (leaf.class_weight(c) != 0) shares.push_back({c, leaf.class_weight(c)});
  }
}

}  // namespace orvview
