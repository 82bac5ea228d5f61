// What pruning adds up over the leaves of a tree: their errors, or what these cost.
#pragma once

#include <span>

#include "impls/decision/cost_matrix.h"
#include "impls/types.h"

namespace orvik::impls {

/// A value; both that it is made of must outlive it. Threads: many readers.
class pricing {
 public:
  /// An error is an error.
  pricing() = default;
  /// `prior` are the class weights of the whole tree.
  pricing(const cost_matrix& costs, std::span<const double> prior)
      : costs_(&costs), prior_(prior) {}

  /// Null where errors are counted.
  const cost_matrix* costs() const { return costs_; }
  /// Class codes; of no meaning where errors are counted.
  unsigned long n_codes() const { return prior_.size(); }
  std::span<const double> prior() const { return prior_; }
  /// The class of a leaf with these class weights, whose majority class is known.
  code_t class_of(std::span<const double> by_code, code_t majority) const {
    return costs_ == nullptr ? majority : costs_->cheapest(by_code);
  }
  /// What it gets wrong, all its weight given, at its price.
  double of_leaf(std::span<const double> by_code, double weight, code_t majority) const {
    return costs_ == nullptr ? weight - by_code.data()[majority]
                             : costs_->expected(costs_->cheapest(by_code), by_code);
  }
  /// What an error costs at a leaf of class `predicted`, of which no more is known than of the
  /// whole tree.
  double of_error(code_t predicted) const {
    return costs_ == nullptr ? 1.0 : costs_->mean_of_errors(predicted, prior_);
  }

 private:
  const cost_matrix* costs_ = nullptr;
  std::span<const double> prior_;
};

}  // namespace orvik::impls
