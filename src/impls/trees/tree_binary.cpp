// Nodes and trees to and from binary streams, in pre-order, without recursion.
#include <algorithm>
#include <cmath>
#include <limits>

#include "impls/trees/decision_tree.h"
#include "impls/trees/node_record.h"
#include "zel/adt/tree_walk.h"
#include "zel/inpout/binstream.h"

namespace orvik::impls {

namespace {

constexpr char k_bad_position[] = "a node that is not the branch it should be";
constexpr char k_bad_kind[] = "a node that is neither leaf nor split node";
constexpr char k_bad_class[] = "a node's majority class that does not exist";
constexpr char k_bad_weight[] = "a node's weight that is no weight";
constexpr char k_no_distribution[] = "a node without class weights";
constexpr char k_bad_attribute[] = "a test of an attribute that cannot be tested";
constexpr char k_bad_value[] = "a tested value that is no value of its attribute";
constexpr char k_bad_threshold[] = "a threshold that is no code of its attribute";
constexpr char k_bad_children[] = "a node with a wrong number of children";

using zel::inpout::ibinstream;
using zel::inpout::obinstream;
using zel::inpout::require;

/// In the number of the attribute: the test is of one value, whose code follows.
constexpr unsigned int k_one_value = 1U << 31;

constexpr unsigned long k_working_bytes = 16;  // of an active node, for each attribute
constexpr unsigned long k_case_bytes = 16;

bool is_weight(double w) { return std::isfinite(w) && w >= 0; }

bool are_weights(std::span<const double> weights) {
  bool all = true;
  for (const double w : weights) all &= w >= 0 && w <= std::numeric_limits<double>::max();
  return all;
}

void skip_cases(ibinstream& in) {
  if (!in.read_presence()) return;
  unsigned long n = 0;
  in >> n;
  for (; n > 0; --n) in.skip(k_case_bytes);
}

void read_statistics(ibinstream& in, const table& t, node_record& to, double* by_code) {
  in >> to.weight >> to.n_cases >> to.fraction >> to.majority;
  require(is_weight(to.weight) && is_weight(to.fraction), k_bad_weight);
  require(to.majority < t.n_class_codes(), k_bad_class);
  require(in.read_presence(), k_no_distribution);
  const std::span<double> weights(by_code, t.n_class_codes());
  in.read_to(weights);
  require(are_weights(weights), k_bad_weight);
}

split_test read_test(ibinstream& in, const table& t) {
  unsigned int attribute = 0;
  in >> attribute;
  const bool one_value = (attribute & k_one_value) != 0;
  attribute &= ~k_one_value;
  require(attribute < t.n_attributes(), k_bad_attribute);
  const column& tested = t.column_of(attribute);
  const unsigned long known = tested.values()->size_of_known();
  require(tested.type() != column::IGNORE && known > 1, k_bad_attribute);
  if (one_value) {
    unsigned long code = 0;
    in >> code;
    require(tested.type() == column::DISCRETE && code >= 1 && code <= known, k_bad_value);
    return split_test::one_value(attribute, code);
  }
  if (tested.type() != column::CONTINUOUS) return {attribute};
  double threshold = 0;
  in >> threshold;
  require(threshold >= 1 && threshold <= static_cast<double>(known), k_bad_threshold);
  require(std::trunc(threshold) == threshold, k_bad_threshold);
  return split_test::cut_at(attribute, static_cast<code_t>(threshold));
}

}  // namespace

unsigned long n_branches_of(const split_test& test, const table& t) {
  const column& tested = t.column_of(test.attribute);
  if (test.parts_in_two() || tested.code_bits() == 1) return 2;
  return tested.values()->size_of_known();
}

node_record read_node(ibinstream& in, const table& t, unsigned int position, double* by_code) {
  unsigned int read_position = 0;
  unsigned char kind = 0;
  bool active = false;
  in >> read_position >> kind >> active;
  require(read_position == position, k_bad_position);
  require(kind == decision_node::LEAF || kind == decision_node::SPLIT_NODE, k_bad_kind);
  node_record made;
  made.is_split = kind == decision_node::SPLIT_NODE;
  read_statistics(in, t, made, by_code);
  if (active && in.read_presence()) in.skip(k_working_bytes * t.n_attributes());
  skip_cases(in);
  in >> made.error;
  if (made.is_split) made.test = read_test(in, t);
  return made;
}

unsigned long read_n_children(ibinstream& in, const table& t, const node_record& of) {
  unsigned long n = 0;
  in >> n;
  require(n == (of.is_split ? n_branches_of(of.test, t) : 0), k_bad_children);
  return n;
}

void decision_node::bin_out(obinstream& out, const table* t) const {
  const unsigned long n_codes = t->n_class_codes();
  out << position_ << static_cast<unsigned char>(status_) << /*active=*/false << weight_ << n_cases_
      << fraction_ << leaf_class_ << (distribution_ != nullptr);
  if (distribution_) out.write_array(std::span<const double>(distribution_.get(), n_codes));
  out << /*cases=*/false << error_;
  if (status_ != SPLIT_NODE) return;
  out << (test_.is_one_value() ? test_.attribute | k_one_value : test_.attribute);
  if (test_.is_one_value()) out << static_cast<unsigned long>(test_.code);
  if (test_.is_cut()) out << static_cast<double>(test_.code);
}

void decision_node::bin_in(ibinstream& in, const table* t) {
  distribution_ = std::make_unique<double[]>(t->n_class_codes());
  const node_record read = read_node(in, *t, position_, distribution_.get());
  status_ = read.is_split ? SPLIT_NODE : LEAF;
  leaf_class_ = read.majority;
  test_ = read.test;
  weight_ = read.weight;
  fraction_ = read.fraction;
  error_ = read.error;
  n_cases_ = read.n_cases;
}

void decision_tree::bin_out(obinstream& out, const table* t) const {
  struct step {
    const decision_tree* tree;
    unsigned int next;  // the child to write next
  };
  std::vector<step> path;
  const auto begin = [&](const decision_node& node, unsigned int n_children) {
    node.bin_out(out, t);
    out << static_cast<unsigned long>(n_children);
  };
  begin(*get_node(), get_no_childs());
  path.push_back({this, 0});
  while (!path.empty()) {
    const auto [tree, next] = path.back();
    if (next == tree->get_no_childs()) {
      path.pop_back();
      continue;
    }
    const decision_tree* const child = tree->get_child(path.back().next++);
    out << /*present=*/true;
    if (child != nullptr) {
      begin(*child->get_node(), child->get_no_childs());
      path.push_back({child, 0});
    } else {
      decision_node empty(tree->get_node(), next + 1);
      empty.set_as_empty_leaf(t->n_class_codes());
      begin(empty, 0);
    }
  }
}

void decision_tree::bin_in(ibinstream& in, const table* t, decision_node* father) {
  // The trees from the root to the one that is read. Their children wait here until all of them
  // are read, so that the number of children takes no memory before they come.
  struct step {
    decision_tree* tree;
    unsigned long n;
    std::vector<std::unique_ptr<decision_tree>> children;
  };
  std::vector<step> path;
  const auto begin = [&](decision_tree& tree, decision_node* above, unsigned int position) {
    tree.set_node(new decision_node(above, position));
    decision_node& node = *tree.get_node();
    node.bin_in(in, t);
    const node_record read{.test = node.test(), .is_split = node.is_split()};
    path.push_back({&tree, read_n_children(in, *t, read), {}});
  };
  begin(*this, father, 0);
  while (!path.empty()) {
    step& top = path.back();
    if (top.children.size() < top.n) {
      require(in.read_presence(), k_no_child);
      top.children.push_back(std::make_unique<decision_tree>());
      begin(*top.children.back(), top.tree->get_node(),
            static_cast<unsigned int>(top.children.size()));  // `top` is gone from here
      continue;
    }
    top.tree->set_capacity(static_cast<unsigned int>(top.n));
    for (auto& child : top.children) top.tree->push_back_child(child.release());
    path.pop_back();
  }
}

}  // namespace orvik::impls
