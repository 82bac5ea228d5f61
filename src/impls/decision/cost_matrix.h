// What it costs to predict a class where another is true.
#pragma once

#include <algorithm>
#include <cassert>
#include <span>
#include <vector>

#include "impls/types.h"
#include "orvik/costs.h"
#include "zel/inpout/binstream.h"

namespace orvik::impls {

/// Shape: n x n over class codes, n = number of known classes + 1. The unknown class costs nothing
/// where it is true and is never predicted: its row and column count for nothing.
/// Invariant: costs are from 0 to k_dearest, those of the right class are 0.
/// Threads: many readers or one writer.
class cost_matrix {
 public:
  static constexpr unsigned long k_most_codes = 1001;

  /// Every error costs 1. Throws std::runtime_error for more than k_most_codes codes.
  explicit cost_matrix(unsigned long n_class_codes);
  /// The same but for the pairs given. Throws also for codes that are none of n known classes, for
  /// costs that break the invariant, and for a pair that is given twice.
  cost_matrix(unsigned long n_class_codes, std::span<const class_cost> given);

  unsigned long size() const { return n_; }
  double cost(code_t predicted, code_t actual) const { return costs_[actual * n_ + predicted]; }
  /// Codes are known ones and differ, the cost is one.
  void set(code_t predicted, code_t actual, double cost);

  /// The pairs that do not cost 1, by predicted, then by actual code.
  std::vector<class_cost> given() const;
  /// All costs times a factor above 0.
  cost_matrix scaled(double factor) const;

  /// What predicting a class costs where classes have these weights, by code: the sum of weight x
  /// cost over the codes, in their order.
  double expected(code_t predicted, std::span<const double> by_code) const;
  /// The known class of the least such sum, the lowest code of equals; without a weight of a known
  /// class, or with one that is no number, the unknown one. Sums that are equal but for their
  /// rounding are equal: whether a class is decided on by weights or by shares of them must not
  /// matter. O(n x classes with weight).
  code_t cheapest(std::span<const double> by_code) const;
  /// The mean cost of an error where `predicted` is answered and the other classes are true in
  /// proportion to these weights; 1 where there are none.
  double mean_of_errors(code_t predicted, std::span<const double> by_code) const;

  /// What a case of a class is worth to be right about: the sum of the costs of all errors on it.
  double of_errors_on(code_t actual) const;
  /// The greatest cost.
  double dearest() const { return *std::max_element(costs_.begin(), costs_.end()); }

  /// The costs between known classes, by the true one.
  void bin_out(zel::inpout::obinstream& out) const;
  /// Throws std::runtime_error for costs that break the invariant.
  static cost_matrix bin_in(zel::inpout::ibinstream& in);

 private:
  unsigned long n_;
  std::vector<double> costs_;  // by actual, then by predicted code
};

}  // namespace orvik::impls
