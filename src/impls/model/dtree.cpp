#include "impls/model/dtree.h"

#include <stdexcept>

namespace orvik::impls {

namespace {

constexpr char k_boosting[] = "boosting needs a number of trees";
constexpr char k_forest[] = "set_forest uncompatible parameters";

}  // namespace

std::unique_ptr<dtree> dtree::clone(bool parameters_only) const {
  auto copy = std::make_unique<dtree>(name_);
  settings_of(*copy) = settings_of(*this);
  copy->trees_ = ensemble(trees_.kind(), trees_.answer(), parameters_.decides);
  if (parameters_only) return copy;
  results_of(*copy) = results_of(*this);
  if (table_) copy->trees_ = trees_.clone(*table_);
  return copy;
}

void dtree::set_split_type(_SplitType type) {
  if (type < model::N_SPLIT_TYPES) parameters_.split = type;
}

void dtree::set_min_obj(double m) {
  if (m > 0) parameters_.min_obj = m;
}

void dtree::set_conf_level(double level) {
  if (level > 0 && level <= 1) parameters_.conf_level = level;
}

void dtree::set_fs(_FeatureSelection method, double delta) {
  search_.method = method;
  if (method == model::ACCEPTABLE_SUBSET) search_.delta = delta;
}

void dtree::set_fs_limit(double seconds) {
  if (seconds >= 0) search_.seconds = seconds;
}

void dtree::set_forest(bool forest, bool bagging, unsigned long n) {
  const bool ensemble = forest || bagging;
  if (ensemble ? n == 0 : n != 1) throw std::runtime_error(k_forest);
  parameters_.kind = forest    ? ensemble_kind::forest
                     : bagging ? ensemble_kind::bagging
                               : ensemble_kind::single;
  drop_trees();
  parameters_.n_trees = n;
}

void dtree::set_boosting(unsigned long n) {
  if (n == 0) throw std::runtime_error(k_boosting);
  parameters_.kind = ensemble_kind::boosting;
  drop_trees();
  parameters_.n_trees = n;
}

zel::adt::bitmap dtree::default_features(const table& t) {
  zel::adt::bitmap features;
  features.resize(t.n_attributes());
  for (unsigned long a = 0; a < t.n_attributes(); ++a) {
    if (t.column_of(a).type() != column::IGNORE) features.set(a);
  }
  return features;
}

unsigned long dtree::nfeatures() const {
  if (!trees_.empty()) return trees_.used_attributes(table_->n_attributes()).count();
  return search_.made_by == model::NO_SELECTION ? 0 : attributes_->count();
}

std::string dtree::get_attributes(const table& t) const {
  return attributes_ ? attributes_->toCSV() : default_features(t).toCSV();
}

}  // namespace orvik::impls
