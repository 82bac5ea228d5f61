#include "trees.h"

#include <algorithm>
#include <cmath>

namespace orvpython {

namespace {

using orvik::branch_test;
using orvik::placed_node;
using orvik::tree_node;

/// An array of one value a node.
template <class T, class Of>
py::array_t<T> by_node(const std::vector<placed_node>& nodes, const Of& of) {
  py::array_t<T> values(static_cast<py::ssize_t>(nodes.size()));
  T* to = values.mutable_data();
  for (const placed_node& n : nodes) *to++ = static_cast<T>(of(n.node));
  return values;
}

/// The number that a cut compares with; not-a-number where none is.
double threshold_of(const tree_node& n) {
  if (n.is_leaf() || !n.tested().is_numeric()) return std::nan("");
  const branch_test first = n.test(0);
  return first.how == branch_test::UP_TO ? n.tested().number(first.code) : std::nan("");
}

py::array_t<double> class_weights(const std::vector<placed_node>& nodes, unsigned long n_codes) {
  py::array_t<double> all({nodes.size(), n_codes - 1});
  double* to = all.mutable_data();
  for (const placed_node& n : nodes) {
    const double* const weights = n.node.class_weights();
    to = std::copy(weights + 1, weights + n_codes, to);
  }
  return all;
}

}  // namespace

py::dict tree_arrays(const orvik::dtree& model, unsigned long tree) {
  const std::vector<placed_node> nodes = nodes_of(model.get_tree(tree));
  const auto with_test = [&](const auto& of) {
    return by_node<std::int64_t>(nodes, [&](const tree_node& n) {
      return n.is_leaf() ? -1 : static_cast<std::int64_t>(of(n));
    });
  };
  py::array_t<std::int64_t> parent(static_cast<py::ssize_t>(nodes.size())),
      level(static_cast<py::ssize_t>(nodes.size()));
  py::list tests;
  for (std::size_t i = 0; i < nodes.size(); ++i) {
    parent.mutable_at(i) = nodes[i].father;
    level.mutable_at(i) = static_cast<std::int64_t>(nodes[i].level);
    tests.append(i == 0 ? std::string() : nodes[i].node.printed_test_before());
  }
  py::dict all;
  all["parent"] = parent;
  all["depth"] = level;
  all["test"] = tests;
  all["n_children"] =
      by_node<std::int64_t>(nodes, [](const tree_node& n) { return n.n_children(); });
  all["feature"] = with_test([](const tree_node& n) { return n.attribute(); });
  all["threshold"] = by_node<double>(nodes, threshold_of);
  all["predicted"] =
      by_node<std::int64_t>(nodes, [](const tree_node& n) { return n.predicted() - 1; });
  all["weighted_n_node_samples"] =
      by_node<double>(nodes, [](const tree_node& n) { return n.weight(); });
  all["n_node_samples"] =
      by_node<std::int64_t>(nodes, [](const tree_node& n) { return n.n_cases(); });
  all["value"] = class_weights(nodes, model.get_schema().n_class_codes());
  return all;
}

tree_walker::tree_walker(const tree_node& root) {
  for (const placed_node& placed : nodes_of(root)) {
    const auto number = static_cast<std::int64_t>(nodes_.size());
    node made;
    made.weight = placed.node.weight();
    if (!placed.node.is_leaf()) {
      const branch_test first = placed.node.test(0);
      made.attribute = placed.node.attribute();
      made.how = first.how;
      made.code = static_cast<std::uint32_t>(first.code);
      // Two tests of one value are told from branches for every value by the second one.
      const bool for_every_value =
          first.how == branch_test::EQUAL &&
          (placed.node.n_children() < 2 || placed.node.test(1).how == branch_test::EQUAL);
      if (for_every_value) made.code = 0;
    }
    nodes_.push_back(std::move(made));
    if (placed.father >= 0) {
      nodes_[static_cast<std::size_t>(placed.father)].children.push_back(number);
    }
  }
}

/// The child for a known code; -1 where there is none.
std::int64_t tree_walker::next(const node& at, std::uint32_t code) const {
  std::size_t branch = code - 1;
  if (at.how == branch_test::UP_TO) branch = code <= at.code ? 0 : 1;
  if (at.how == branch_test::EQUAL && at.code > 0) branch = code == at.code ? 0 : 1;
  return branch < at.children.size() ? at.children[branch] : -1;
}

std::int64_t tree_walker::leaf_of(const std::uint32_t* codes) const {
  std::int64_t at = 0;
  while (!nodes_[static_cast<std::size_t>(at)].children.empty()) {
    const node& here = nodes_[static_cast<std::size_t>(at)];
    const std::uint32_t code = codes[here.attribute];
    const std::int64_t child = code == 0 ? -1 : next(here, code);
    const auto weight_of = [this](std::int64_t i) {
      return nodes_[static_cast<std::size_t>(i)].weight;
    };
    at = child >= 0 ? child
                    : *std::max_element(here.children.begin(), here.children.end(),
                                        [&](std::int64_t a, std::int64_t b) {
                                          return weight_of(a) < weight_of(b);
                                        });
  }
  return at;
}

void tree_walker::path_of(const std::uint32_t* codes, std::vector<std::int64_t>& nodes) const {
  std::vector<std::int64_t> open{0};
  while (!open.empty()) {
    const std::int64_t at = open.back();
    open.pop_back();
    nodes.push_back(at);
    const node& here = nodes_[static_cast<std::size_t>(at)];
    if (here.children.empty()) continue;
    const std::uint32_t code = codes[here.attribute];
    if (const std::int64_t child = code == 0 ? -1 : next(here, code); child >= 0) {
      open.push_back(child);
      continue;
    }
    for (auto child = here.children.rbegin(); child != here.children.rend(); ++child) {
      if (nodes_[static_cast<std::size_t>(*child)].weight > 0) open.push_back(*child);
    }
  }
}

}  // namespace orvpython
