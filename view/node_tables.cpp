#include "node_tables.h"

#include <algorithm>
#include <cassert>
#include <map>
#include <set>

namespace orvik::view {

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

}  // namespace

node_tables::node_tables(const chosen_tree& chosen)
    : n_class_codes_(chosen.schema().n_class_codes()),
      leans_(!chosen.model.get_prior().empty()),
      column_of_attribute_(chosen.schema().n_attributes()) {
  const std::vector<tree_node> trees = chosen.roots();
  find_columns(chosen.schema(), trees);
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
  struct placed {
    tree_node node, with_cases;  // the nearest from it upwards, or the root
  };
  std::vector<placed> level_by_level{{tree, tree}};
  for (std::size_t at = 0; at < level_by_level.size(); ++at) {
    const auto [node, with_cases] = level_by_level[at];
    nodes.push_back(entry_of(node, with_cases, root + level_by_level.size()));
    for (unsigned long i = 0; i < node.n_children(); ++i) {
      const tree_node child = node.child(i);
      level_by_level.push_back({child, child.weight() > 0 ? child : with_cases});
    }
  }
}

table_node node_tables::entry_of(const tree_node& node, const tree_node& with_cases,
                                 unsigned long next) {
  if (node.is_leaf()) {
    const unsigned long first = shares.size();
    add_shares(node, with_cases);
    return {table_node::k_leaf, static_cast<long>(node.predicted()), first, shares.size() - first,
            node.weight()};
  }
  const long place = column_of_attribute_[node.attribute()];
  const std::vector<orvik::code_t>& cuts = columns[static_cast<std::size_t>(place)].cuts;
  return {place, limit_of(node, cuts), next, node.n_children(), node.weight()};
}

void node_tables::add_shares(const tree_node& leaf, const tree_node& with_cases) {
  const double* const weights = with_cases.class_weights();
  const bool is_empty = !(leaf.weight() > 0);
  const double whole = is_empty && !leans_ ? with_cases.weight() : 1.0;
  if (!(with_cases.weight() > 0)) {  // a tree that no case came to
    shares.push_back({leaf.predicted(), 1.0});
  } else if (is_empty && leans_) {
    shares.push_back({orvik::k_unknown, with_cases.weight()});
  }
  for (orvik::code_t c = 0; c < n_class_codes_; ++c) {
    if (weights[c] != 0) shares.push_back({c, weights[c] / whole});
  }
}

}  // namespace orvik::view
