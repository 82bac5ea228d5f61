// Descent of a case through a tree.
//
// A case whose value of the tested attribute is unknown goes down every branch, in proportion to
// the training weight that did (Quinlan 1993); its class is the one of the largest weight.
#include <algorithm>
#include <cassert>
#include <span>

#include "impls/evaluation/batch_predictor.h"
#include "impls/evaluation/tally.h"
#include "impls/trees/decision_tree.h"
#include "impls/trees/distribution.h"
#include "impls/trees/packed_tree.h"
#include "impls/trees/tree_place.h"

namespace orvik::impls {

namespace {

/// Follows the known values of a case. `code_of(a)` is its code of attribute a.
/// @return the leaf, or the split node whose test the case has no value for; `depth` advances.
template <class Place, class CodeOf>
Place descend(Place at, const CodeOf& code_of, unsigned long& depth) {
  while (!at.is_leaf()) {
    const split_test& test = at.test();
    const code_t code = code_of(test.attribute);
    if (code == k_unknown) break;
    at = at.child(test.branch_of(code));
    ++depth;
  }
  return at;
}

/// A part of a case on its way down.
template <class Place>
struct portion {
  Place at;
  double weight;
  unsigned long depth;
};

/// Appends the parts of a case that go on from a test without a value for it; the first comes last.
template <class Place>
void part(const Place& at, double weight, unsigned long depth, std::vector<portion<Place>>& open) {
  const std::size_t first = open.size();
  const double total = at->weight();
  at.for_each_child([&](std::size_t, const Place& child) {
    const double part = part_of(weight, child->weight(), total);
    if (part != 0) open.push_back({child, part, depth + 1});  // nothing adds nothing
  });
  std::reverse(open.begin() + static_cast<std::ptrdiff_t>(first), open.end());
}

/// Spreads a case over the leaves that it reaches; add(leaf, weight) is called for each.
/// @return the sum of depth x weight.
template <class Place, class CodeOf, class AddLeaf>
double distribute(const Place& root, const CodeOf& code_of, double weight, unsigned long depth,
                  const AddLeaf& add) {
  const Place first = descend(root, code_of, depth);
  if (first.is_leaf()) {
    add(first, weight);
    return static_cast<double>(depth) * weight;
  }
  double depths = 0;
  std::vector<portion<Place>> open{{first, weight, depth}};
  while (!open.empty()) {
    portion<Place> p = open.back();
    open.pop_back();
    const Place end = descend(p.at, code_of, p.depth);
    if (!end.is_leaf()) {
      part(end, p.weight, p.depth, open);
      continue;
    }
    add(end, p.weight);
    depths += static_cast<double>(p.depth) * p.weight;
  }
  return depths;
}

template <class Place, class CodeOf>
double classify(unsigned long n_codes, const Place& root, const CodeOf& code_of,
                decision_tree::prediction& result, double weight, unsigned long depth) {
  const Place end = descend(root, code_of, depth);
  if (end.is_leaf()) {
    result = {end->get_leaf_class(), end->get_leaf_classfreq()};
    return static_cast<double>(depth) * weight;
  }
  std::vector<double> shares(n_codes);
  const double depths =
      distribute(end, code_of, weight, depth,
                 [&](const Place& leaf, double part) { leaf->add_shares(part, shares); });
  const code_t best = distribution(shares).decide();
  result = {best, shares[best]};
  return depths;
}

template <class Place, class CodeOf>
double share_out(const Place& root, const CodeOf& code_of, double amount,
                 std::span<double> by_code) {
  return distribute(root, code_of, amount, 0,
                    [&](const Place& leaf, double part) { leaf->add_shares(part, by_code); });
}

/// The same, but where no case came as at the nearest node above to which some came.
template <class Place, class CodeOf>
void spread_known(const Place& root, const CodeOf& code_of, double amount,
                  std::span<double> by_code, prior_shares prior) {
  distribute(root, code_of, amount, 0,
             [&](const Place& leaf, double part) { leaf->add_known_shares(part, by_code, prior); });
}

auto codes_of_row(const table& t, row_t row) {
  return [&t, row](unsigned int a) { return t.column_of(a).get_row_index(row); };
}

auto codes_of(const std::vector<code_t>& codes) {
  return [&codes](unsigned int a) { return codes[a]; };
}

}  // namespace

double decision_tree::predict_class(const table& t, const std::vector<code_t>& codes,
                                    prediction& result, double weight, unsigned long depth) const {
  return classify(t.n_class_codes(), tree_place(*this), codes_of(codes), result, weight, depth);
}

double packed_tree::predict_class(const table& t, const std::vector<code_t>& codes,
                                  decision_tree::prediction& result, double weight,
                                  unsigned long depth) const {
  return classify(t.n_class_codes(), root(), codes_of(codes), result, weight, depth);
}

double decision_tree::predict_distribution(const table&, const std::vector<code_t>& codes,
                                           std::vector<double>& distribution, double weight,
                                           unsigned long depth) const {
  return distribute(
      tree_place(*this), codes_of(codes), weight, depth,
      [&](const tree_place& leaf, double part) { leaf->add_shares(part, distribution); });
}

void decision_tree::add_probabilities(const std::vector<code_t>& codes, double weight,
                                      std::span<double> shares, prior_shares prior) const {
  spread_known(tree_place(*this), codes_of(codes), weight, shares, prior);
}

void packed_tree::add_probabilities(const std::vector<code_t>& codes, double weight,
                                    std::span<double> shares, prior_shares prior) const {
  spread_known(root(), codes_of(codes), weight, shares, prior);
}

void decision_tree::add_shares(const std::vector<code_t>& codes, double amount,
                               std::span<double> by_code) const {
  share_out(tree_place(*this), codes_of(codes), amount, by_code);
}

void packed_tree::add_shares(const std::vector<code_t>& codes, double amount,
                             std::span<double> by_code) const {
  share_out(root(), codes_of(codes), amount, by_code);
}

double decision_tree::predict_row_asking(const table& t, row_t row, prediction& result,
                                         zel::adt::bitmap& asked) const {
  const auto code_of = codes_of_row(t, row);
  const auto note = [&](unsigned int a) {
    asked.set(a);
    return code_of(a);
  };
  return classify(t.n_class_codes(), tree_place(*this), note, result, 1.0, 0);
}

double decision_tree::predict_changed_row(const table& t, row_t row, unsigned int attribute,
                                          code_t code, prediction& result) const {
  const auto code_of = codes_of_row(t, row);
  const auto changed = [&](unsigned int a) { return a == attribute ? code : code_of(a); };
  return classify(t.n_class_codes(), tree_place(*this), changed, result, 1.0, 0);
}

double decision_tree::predict_cm(const table& t, const case_list& cases, double weight,
                                 conf_matrix& matrix, zel::util::run_context& run) const {
  const batch_predictor predictor(t, {{this}}, batch_predictor::answer::of_one, run);
  return tally(t, cases, weight, matrix, predictor);
}

double decision_tree::err_misc(const table& t, const case_list& cases, zel::util::run_context& run,
                               const pricing& price) const {
  conf_matrix matrix(&t);
  if (price.costs() == nullptr) {
    predict_cm(t, cases, 1.0, matrix, run);
    return matrix.err_misc();
  }
  decision by_costs;
  by_costs.set_costs(std::make_shared<const cost_matrix>(*price.costs()), cost_use::decides);
  const batch_predictor predictor(t, {{this}}, batch_predictor::answer::of_one, run, by_costs);
  tally(t, cases, 1.0, matrix, predictor);
  return matrix.cost(*price.costs()) / matrix.cases();
}

}  // namespace orvik::impls
