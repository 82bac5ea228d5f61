// Nodes and trees to and from binary streams, in pre-order, without recursion.
#include <algorithm>
#include <cmath>

#include "impls/trees/decision_tree.h"
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
constexpr char k_no_child[] = "a child is missing";

using zel::inpout::ibinstream;
using zel::inpout::obinstream;
using zel::inpout::require;

/// In the number of the attribute: the test is of one value, whose code follows.
constexpr unsigned int k_one_value = 1U << 31;

constexpr unsigned long k_working_bytes = 16;  // of an active node, for each attribute
constexpr unsigned long k_case_bytes = 16;

bool is_weight(double w) { return std::isfinite(w) && w >= 0; }

void skip_cases(ibinstream& in) {
  if (!in.read_presence()) return;
  unsigned long n = 0;
  in >> n;
  for (; n > 0; --n) in.skip(k_case_bytes);
}

}  // namespace

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
  unsigned int position = 0;
  unsigned char kind = 0;
  bool active = false;
  in >> position >> kind >> active;
  require(position == position_, k_bad_position);
  require(kind == LEAF || kind == SPLIT_NODE, k_bad_kind);
  status_ = static_cast<status>(kind);
  read_statistics(in, *t);
  if (active && in.read_presence()) in.skip(k_working_bytes * t->n_attributes());
  skip_cases(in);
  in >> error_;
  if (status_ == SPLIT_NODE) read_test(in, *t);
}

void decision_node::read_statistics(ibinstream& in, const table& t) {
  const unsigned long n_codes = t.n_class_codes();
  in >> weight_ >> n_cases_ >> fraction_ >> leaf_class_;
  require(is_weight(weight_) && is_weight(fraction_), k_bad_weight);
  require(leaf_class_ < n_codes, k_bad_class);
  require(in.read_presence(), k_no_distribution);
  const std::vector<double> distribution = in.read_array<double>(n_codes);
  require(std::ranges::all_of(distribution, is_weight), k_bad_weight);
  distribution_ = std::make_unique_for_overwrite<double[]>(n_codes);
  std::ranges::copy(distribution, distribution_.get());
}

void decision_node::read_test(ibinstream& in, const table& t) {
  in >> test_.attribute;
  const bool one_value = (test_.attribute & k_one_value) != 0;
  test_.attribute &= ~k_one_value;
  require(test_.attribute < t.n_attributes(), k_bad_attribute);
  const column& tested = t.column_of(test_.attribute);
  const unsigned long known = tested.values()->size_of_known();
  require(tested.type() != column::IGNORE && known > 1, k_bad_attribute);
  if (one_value) {
    unsigned long code = 0;
    in >> code;
    require(tested.type() == column::DISCRETE && code >= 1 && code <= known, k_bad_value);
    test_ = split_test::one_value(test_.attribute, code);
    return;
  }
  if (tested.type() != column::CONTINUOUS) return;
  double threshold = 0;
  in >> threshold;
  require(threshold >= 1 && threshold <= static_cast<double>(known), k_bad_threshold);
  require(std::trunc(threshold) == threshold, k_bad_threshold);
  test_ = split_test::cut_at(test_.attribute, static_cast<code_t>(threshold));
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

void decision_tree::bin_in(ibinstream& in, const table* t, decision_node* father, bool complete) {
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
    path.push_back({&tree, 0, {}});
    in >> path.back().n;
    const unsigned long branches = node.is_split() ? node.get_no_of_splits(*t) : 0;
    require(path.back().n == branches, k_bad_children);
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
    for (auto& child : top.children) {
      if (!complete && child->get_node()->is_empty_leaf(t->n_class_codes())) child.reset();
      top.tree->push_back_child(child.release());
    }
    path.pop_back();
  }
}

}  // namespace orvik::impls
