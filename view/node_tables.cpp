#include "node_tables.h"

#include <algorithm>
#include <cassert>
#include <map>
#include <set>

namespace orvview {

using orvik::tree_node;

namespace {

long limit_of(const tree_node& split, const std::vector<orvik::code_t>& cuts) {
  const orvik::branch_test first = split.test(0);
  if (first.how == orvik::branch_test::UP_TO) {
    const auto cut = std::ranges::lower_bound(cuts, first.code);
    assert(cut != cuts.end() && *cut == first.code);
    return cut - cuts.begin() + 1;
  }
  const bool one_value = split.test(1).how == orvik::branch_test::OTHER;
  return one_value ? -static_cast<long>(first.code) : 0;
}

std::vector<tree_node> trees_of(const orvik::dtree& model) {
  std::vector<tree_node> trees;
  for (unsigned long i = 0; i < model.get_no_trees(); ++i) trees.push_back(model.get_tree(i));
  return trees;
}

}  // namespace

node_tables::node_tables(const orvik::dtree& model)
    : node_tables(model.get_schema(), trees_of(model)) {}

node_tables::node_tables(const chosen_tree& chosen)
    : node_tables(chosen.schema(), {chosen.root()}) {}

node_tables::node_tables(const orvik::schema_view& schema, const std::vector<tree_node>& trees)
    : n_class_codes_(schema.n_class_codes()), column_of_attribute_(schema.n_attributes()) {
  find_columns(schema, trees);
  for (const tree_node& tree : trees) add_tree(tree);
}

void node_tables::find_columns(const orvik::schema_view& schema,
                               const std::vector<tree_node>& trees) {
  std::map<unsigned long, std::set<orvik::code_t>> cuts;  // by attribute
  for (const tree_node& tree : trees) {
    for (const orvik::placed_node& each : nodes_of(tree)) {
      if (each.node.is_leaf()) continue;
      const orvik::branch_test test = each.node.test(0);
      auto& of_attribute = cuts[each.node.attribute()];
      if (test.how == orvik::branch_test::UP_TO) of_attribute.insert(test.code);
    }
  }
  for (const auto& [attribute, codes] : cuts) {
    column_of_attribute_[attribute] = static_cast<long>(columns.size());
    columns.push_back({schema.attribute(attribute), {codes.begin(), codes.end()}});
  }
}

void node_tables::add_tree(const tree_node& tree) {
  const unsigned long root = nodes.size();
  roots.push_back(root);
  std::vector<tree_node> level_by_level{tree};
  for (std::size_t at = 0; at < level_by_level.size(); ++at) {
    const tree_node node = level_by_level[at];
    nodes.push_back(entry_of(node, root + level_by_level.size()));
    for (unsigned long i = 0; i < node.n_children(); ++i) level_by_level.push_back(node.child(i));
  }
}

table_node node_tables::entry_of(const tree_node& node, unsigned long next) {
  if (node.is_leaf()) {
    const unsigned long first = shares.size();
    add_shares(node);
    return {table_node::k_leaf, static_cast<long>(node.predicted()), first, shares.size() - first,
            node.weight()};
  }
  const long place = column_of_attribute_[node.attribute()];
  const std::vector<orvik::code_t>& cuts = columns[static_cast<std::size_t>(place)].cuts;
  return {place, limit_of(node, cuts), next, node.n_children(), node.weight()};
}

/// Without weight, the whole of what comes goes to the leaf's class.
void node_tables::add_shares(const tree_node& leaf) {
  if (!(leaf.weight() > 0)) {
    shares.push_back({leaf.predicted(), 1.0});
    return;
  }
  const double* const weights = leaf.class_weights();
  for (orvik::code_t c = 0; c < n_class_codes_; ++c) {
    if (weights[c] != 0) shares.push_back({c, weights[c]});
  }
}

}  // namespace orvview
