// What it costs to predict a class where another is true.
#pragma once

#include <cassert>
#include <span>
#include <vector>

#include "impls/types.h"
#include "zel/inpout/binstream.h"

namespace orvik::impls {

/// Shape: n x n over class codes, n = number of known classes + 1. The unknown class costs nothing
/// where it is true and is never predicted: its row and column count for nothing.
/// Invariant: costs are finite and not negative, those of the right class are 0.
/// Threads: many readers or one writer.
class cost_matrix {
 public:
  static constexpr unsigned long k_most_codes = 1001;

  /// Every error costs 1. Throws std::runtime_error for more than k_most_codes codes.
  explicit cost_matrix(unsigned long n_class_codes);

  unsigned long size() const { return n_; }
  double cost(code_t predicted, code_t actual) const { return costs_[actual * n_ + predicted]; }
  /// Codes are known ones and differ, the cost is finite and not negative.
  void set(code_t predicted, code_t actual, double cost);

  /// What predicting a class costs where classes have these weights, by code: the sum of weight x
  /// cost over the codes, in their order.
  double expected(code_t predicted, std::span<const double> by_code) const;
  /// The known class of the least such sum, the lowest code of equals; without a weight of a known
  /// class the unknown one. Sums that are equal but for their rounding are equal: whether a class
  /// is decided on by weights or by shares of them must not matter. O(n x classes with weight).
  code_t cheapest(std::span<const double> by_code) const;
  /// The mean cost of an error where `predicted` is answered and the other classes are true in
  /// proportion to these weights; 1 where there are none.
  double mean_of_errors(code_t predicted, std::span<const double> by_code) const;

  bool operator==(const cost_matrix&) const = default;

  /// The costs between known classes, by the true one.
  void bin_out(zel::inpout::obinstream& out) const;
  /// Throws std::runtime_error for costs that break the invariant.
  static cost_matrix bin_in(zel::inpout::ibinstream& in);

 private:
  unsigned long n_;
  std::vector<double> costs_;  // by actual, then by predicted code
};

}  // namespace orvik::impls
