// Descent of a case through a tree.
//
// A case whose value of the tested attribute is unknown goes down every branch, in proportion to
// the training weight that did (Quinlan 1993); its class is the one of the largest weight.
#include <cassert>
#include <span>

#include "impls/evaluation/batch_predictor.h"
#include "impls/evaluation/tally.h"
#include "impls/trees/decision_tree.h"
#include "impls/trees/distribution.h"

namespace orvik::impls {

namespace {

/// Follows the known values of a case. `code_of(a)` is its code of attribute a.
/// @return the leaf, or the split node whose test the case has no value for; `depth` advances.
template <class CodeOf>
const decision_tree& descend(const decision_tree& root, const CodeOf& code_of,
                             unsigned long& depth) {
  const decision_tree* tree = &root;
  while (tree->get_no_childs() > 0) {
    const split_test& test = tree->get_node()->test();
    const code_t code = code_of(test.attribute);
    if (code == k_unknown) break;
    const std::size_t branch = test.branch_of(code);
    assert(branch < tree->get_no_childs());
    tree = tree->get_child(static_cast<unsigned int>(branch));
    ++depth;
  }
  return *tree;
}

/// A part of a case on its way down.
struct portion {
  const decision_tree* tree;
  double weight;
  unsigned long depth;
};

/// Spreads a case over the leaves that it reaches; add(leaf, weight) is called for each.
/// @return the sum of depth x weight.
template <class CodeOf, class AddLeaf>
double distribute(const decision_tree& root, const CodeOf& code_of, double weight,
                  unsigned long depth, const AddLeaf& add) {
  const decision_tree& first = descend(root, code_of, depth);
  if (first.get_no_childs() == 0) {
    add(*first.get_node(), weight);
    return static_cast<double>(depth) * weight;
  }
  double depths = 0;
  std::vector<portion> open{{&first, weight, depth}};
  while (!open.empty()) {
    portion p = open.back();
    open.pop_back();
    const decision_tree& end = descend(*p.tree, code_of, p.depth);
    const decision_node& node = *end.get_node();
    if (end.get_no_childs() > 0) {
      for (unsigned int i = end.get_no_childs(); i-- > 0;) {  // the first child is taken first
        const decision_tree* child = end.get_child(i);
        const double part = part_of(p.weight, child->get_node()->weight(), node.weight());
        if (part != 0) open.push_back({child, part, p.depth + 1});  // nothing adds nothing
      }
      continue;
    }
    add(node, p.weight);
    depths += static_cast<double>(p.depth) * p.weight;
  }
  return depths;
}

template <class CodeOf>
double classify(unsigned long n_codes, const decision_tree& root, const CodeOf& code_of,
                decision_tree::prediction& result, double weight, unsigned long depth) {
  const decision_tree& end = descend(root, code_of, depth);
  const decision_node& node = *end.get_node();
  if (end.get_no_childs() == 0) {
    result = {node.get_leaf_class(), node.get_leaf_classfreq()};
    return static_cast<double>(depth) * weight;
  }
  std::vector<double> shares(n_codes);
  const auto add = [&](const decision_node& leaf, double part) { leaf.add_shares(part, shares); };
  const double depths = distribute(end, code_of, weight, depth, add);
  const code_t best = distribution(shares).decide();
  result = {best, shares[best]};
  return depths;
}

auto codes_of_row(const table& t, row_t row) {
  return [&t, row](unsigned int a) { return t.column_of(a).get_row_index(row); };
}

}  // namespace

double decision_tree::predict_class(const table& t, const std::vector<code_t>& codes,
                                    prediction& result, double weight, unsigned long depth) const {
  return classify(
      t.n_class_codes(), *this, [&codes](unsigned int a) { return codes[a]; }, result, weight,
      depth);
}

double decision_tree::predict_distribution(const table&, const std::vector<code_t>& codes,
                                           std::vector<double>& distribution, double weight,
                                           unsigned long depth) const {
  return distribute(
      *this, [&codes](unsigned int a) { return codes[a]; }, weight, depth,
      [&](const decision_node& leaf, double part) { leaf.add_shares(part, distribution); });
}

void decision_tree::add_probabilities(const std::vector<code_t>& codes, double weight,
                                      std::vector<double>& shares) const {
  distribute(
      *this, [&codes](unsigned int a) { return codes[a]; }, weight, 0,
      [&](const decision_node& leaf, double part) { leaf.add_known_shares(part, shares); });
}

void decision_tree::add_shares(const std::vector<code_t>& codes, double amount,
                               std::span<double> by_code) const {
  distribute(
      *this, [&codes](unsigned int a) { return codes[a]; }, amount, 0,
      [&](const decision_node& leaf, double part) { leaf.add_shares(part, by_code); });
}

void decision_tree::add_row_shares(const table& t, row_t row, double amount,
                                   std::span<double> by_code) const {
  distribute(*this, codes_of_row(t, row), amount, 0,
             [&](const decision_node& leaf, double part) { leaf.add_shares(part, by_code); });
}

double decision_tree::predict_row(const table& t, row_t row, prediction& result,
                                  double weight) const {
  return classify(t.n_class_codes(), *this, codes_of_row(t, row), result, weight, 0);
}

double decision_tree::predict_row_asking(const table& t, row_t row, prediction& result,
                                         zel::adt::bitmap& asked) const {
  const auto code_of = codes_of_row(t, row);
  const auto note = [&](unsigned int a) {
    asked.set(a);
    return code_of(a);
  };
  return classify(t.n_class_codes(), *this, note, result, 1.0, 0);
}

double decision_tree::predict_changed_row(const table& t, row_t row, unsigned int attribute,
                                          code_t code, prediction& result) const {
  const auto code_of = codes_of_row(t, row);
  const auto changed = [&](unsigned int a) { return a == attribute ? code : code_of(a); };
  return classify(t.n_class_codes(), *this, changed, result, 1.0, 0);
}

double decision_tree::predict_cm(const table& t, const case_list& cases, double weight,
                                 conf_matrix& matrix, zel::util::run_context& run) const {
  const batch_predictor predictor(t, {{this}}, batch_predictor::answer::of_one, run);
  return tally(t, cases, weight, matrix, predictor);
}

double decision_tree::err_misc(const table& t, const case_list& cases,
                               zel::util::run_context& run) const {
  conf_matrix matrix(&t);
  predict_cm(t, cases, 1.0, matrix, run);
  return matrix.err_misc();
}

}  // namespace orvik::impls
