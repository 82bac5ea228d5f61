// How a model decides, and what its classes weigh: what follows from the costs of errors once there
// are cases.
#include <algorithm>
#include <cmath>
#include <stdexcept>

#include "impls/model/dtree.h"
#include "impls/model/scaled_costs.h"
#include "impls/pruning/strategies.h"
#include "impls/trees/distribution.h"
#include "zel/adt/tree_walk.h"

namespace orvik::impls {

namespace {

constexpr char k_other_costs[] = "the costs are of another table's classes";
constexpr char k_other_weights[] = "the class weights are of another table's classes";
constexpr char k_pessimistic[] =
    "pessimistic pruning corrects numbers of errors: it has no meaning for their costs";
constexpr char k_free_errors[] = "costs that are 0 for every class of the cases cannot weigh them";

/// Makes shares of weights that have a sum.
void normalise_shares(std::vector<double>& weights) {
  const double all = distribution(weights).sum();
  if (!(all > 0)) return;
  for (double& weight : weights) weight /= all;
}

/// By class: `values` times what makes the sum of the weights stay as it is.
std::vector<double> with_same_sum(std::vector<double> values, const std::vector<double>& sums) {
  double before = 0, after = 0;
  for (code_t c = 1; c < values.size(); ++c) {
    before += sums[c];
    after += values[c] * sums[c];
  }
  if (!(after > 0)) throw std::runtime_error(k_free_errors);
  for (code_t c = 1; c < values.size(); ++c) values[c] *= before / after;
  values[k_unknown] = 1;
  return values;
}

template <class Visit>
void for_each_node(decision_tree& tree, const Visit& visit) {
  zel::adt::walk(
      tree, [](const decision_tree&, unsigned long) { return true; },
      [&](decision_tree& at, unsigned long) { visit(*at.get_node()); });
}

}  // namespace

scaled_costs::scaled_costs(const cost_matrix& costs, const decision_node& root)
    : prior_(root.class_weights(), root.class_weights() + costs.size()) {
  const double mean = costs.mean_of_errors(costs.cheapest(prior_), prior_);
  if (mean > 0 && std::isfinite(mean)) unit_ = mean;
  costs_ = costs.scaled(1 / unit_);
}

void scaled_costs::restore(decision_tree& pruned) const {
  if (!costs_) return;
  for_each_node(pruned, [this](decision_node& node) {
    node.set_estimated_error(node.estimated_error() * unit_);
  });
}

/// Only a single tree decides by costs itself: the members of an ensemble vote as they are.
scaled_costs dtree::costs_of(const decision_tree& tree) const {
  const cost_matrix* const costs = trees_.decides().costs();
  return costs == nullptr || !trees_.is_single() ? scaled_costs()
                                                 : scaled_costs(*costs, *tree.get_node());
}

void dtree::require_decision_for(const table& t) const {
  const unsigned long n = t.n_class_codes();
  if (!parameters_.decides.fits(n)) throw std::runtime_error(k_other_costs);
  const bool weighs = !parameters_.class_weights.empty();
  if (weighs && parameters_.class_weights.size() != n) throw std::runtime_error(k_other_weights);
  const bool by_costs = parameters_.decides.costs() != nullptr && !parameters_.is_ensemble();
  if (by_costs && !pruning::prunes_by_costs(parameters_.pruning)) {
    throw std::runtime_error(k_pessimistic);
  }
}

void dtree::weigh_classes(const table& t, const case_list& cases) {
  class_weights_ = parameters_.class_weights;
  const cost_matrix* const costs = parameters_.decides.known_costs();
  const bool by_costs = costs != nullptr && parameters_.decides.costs() == nullptr;
  if (!by_costs && !parameters_.balanced_classes) return;
  std::vector<double> sums(t.n_class_codes()), values(sums.size());
  sum_by_class(t.class_column(), cases, sums);
  for (code_t c = 1; c < sums.size(); ++c) {
    values[c] = by_costs ? costs->of_errors_on(c) : sums[c] > 0 ? 1 / sums[c] : 0;
  }
  class_weights_ = with_same_sum(std::move(values), sums);
}

void dtree::weigh(const table& t, case_list& cases) const {
  if (class_weights_.empty()) return;
  for (auto& [row, weight] : cases) weight *= class_weights_[t.class_column().get_row_index(row)];
}

void dtree::prepare_decision(const table& t) {
  decision how = parameters_.decides;
  if (how.smooths()) {
    std::vector<double> prior(t.n_class_codes());
    case_list cases = cases_.expand();
    weigh(t, cases);
    sum_by_class(t.class_column(), cases, prior);
    normalise_shares(prior);
    how.set_prior(std::move(prior));
  }
  trees_.set_decision(std::move(how));
}

void dtree::set_classes(const decision& how) {
  if (trees_.empty() || trees_.is_put_to_vote() || trees_.decides().is_plain()) return;
  const unsigned long n = table_->n_class_codes();
  trees_.change(*table_, 0, /*complete=*/true, [&](decision_tree& tree) {
    for_each_node(tree, [&](decision_node& node) {
      if (node.weight() > 0) node.set_leaf_class(how.decide_leaf({node.class_weights(), n}));
    });
  });
}

void dtree::settle_classes() { set_classes(trees_.decides()); }

}  // namespace orvik::impls
