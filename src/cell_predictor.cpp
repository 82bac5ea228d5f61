#include "orvik/cell_predictor.h"

#include <stdexcept>

#include "impls/model/cell_predictor.h"

namespace orvik {

namespace {

constexpr char k_no_trees_to_ask[] = "the model has no trees";

std::unique_ptr<const impls::cell_predictor> ready(const dtree& model) {
  if (model.get_no_trees() == 0) throw std::runtime_error(k_no_trees_to_ask);
  return std::make_unique<impls::cell_predictor>(*model.get_impl());
}

std::vector<dtree::prediction> predictions_of(std::span<const impls::outcome> outcomes) {
  std::vector<dtree::prediction> found;
  found.reserve(outcomes.size());
  for (const impls::outcome& o : outcomes) found.push_back({o.predicted, o.confidence});
  return found;
}

}  // namespace

cell_predictor::cell_predictor(const dtree& model) : impl_(ready(model)) {}
cell_predictor::~cell_predictor() = default;

void cell_predictor::predict(const std::vector<cell_array>& attributes, unsigned long n,
                             double* shares, dtree::unseen_values* unseen) const {
  impl_->predict(attributes, n, shares, unseen, impl_->run());
}

void cell_predictor::predict(const std::vector<cell_array>& attributes, unsigned long n,
                             double* shares, dtree::unseen_values* unseen,
                             const run_context& run) const {
  impl_->predict(attributes, n, shares, unseen, run.get_impl());
}

void cell_predictor::choose(const std::vector<cell_array>& attributes, unsigned long n,
                            const std::vector<code_t>& order, std::uint32_t* places,
                            dtree::unseen_values* unseen, const run_context& run) const {
  impl_->choose(attributes, n, order, places, unseen, run.get_impl());
}

void cell_predictor::codes_of(const std::vector<cell_array>& attributes, unsigned long first,
                              unsigned long n, std::uint32_t* codes) const {
  std::vector<unsigned long> unseen(attributes.size());
  codes_of(attributes, first, n, codes, unseen);
}

void cell_predictor::codes_of(const std::vector<cell_array>& attributes, unsigned long first,
                              unsigned long n, std::uint32_t* codes,
                              std::vector<unsigned long>& unseen) const {
  unseen.resize(attributes.size());
  impl_->codes_of(attributes, first, n, codes, unseen);
}

std::vector<dtree::prediction> cell_predictor::predict_codes(const std::vector<code_t>& codes,
                                                             unsigned long n) const {
  std::vector<impls::outcome> outcomes(n);
  impl_->predict_codes(codes, outcomes, {}, {});
  return predictions_of(outcomes);
}

std::vector<dtree::prediction> cell_predictor::predict_codes(const std::vector<code_t>& codes,
                                                             unsigned long n,
                                                             std::vector<double>& shares,
                                                             std::vector<double>& plain) const {
  std::vector<impls::outcome> outcomes(n);
  shares.resize(n * impl_->n_class_codes());
  plain.resize(impl_->calibrates() ? shares.size() : 0);
  impl_->predict_codes(codes, outcomes, shares, plain);
  if (!impl_->calibrates()) plain = shares;
  return predictions_of(outcomes);
}

}  // namespace orvik
