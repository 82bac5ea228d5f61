// What is known of the class of a case, and the class that is answered for it.
#pragma once

#include <algorithm>
#include <ranges>
#include <span>

#include "impls/tables/column.h"
#include "impls/trees/routing.h"
#include "zel/util/number_util.h"

namespace orvik::impls {

/// Weights, or votes, by class code: a view of at least one code.
template <class Weight>
class distribution {
 public:
  explicit distribution(std::span<const Weight> by_code) : by_code_(by_code) {}

  /// The class to answer: that of the largest weight, the lowest code of equals. Every class that
  /// a node, a tree or an ensemble decides on is decided here.
  code_t decide() const { return zel::util::number_util::argmax(by_code_); }
  Weight operator[](code_t code) const { return by_code_[code]; }
  /// Added in the order of the codes.
  Weight sum() const {
    Weight all = 0;
    for (const Weight w : by_code_) all += w;
    return all;
  }

 private:
  std::span<const Weight> by_code_;
};

template <class Range>
explicit distribution(const Range&) -> distribution<std::ranges::range_value_t<Range>>;

/// Adds what `amount` of a case has of the prior shares at a leaf of some weight.
inline void add_prior(double amount, double weight, std::span<const double> prior,
                      std::span<double> by_code) {
  for (code_t c = 0; c < prior.size(); ++c) by_code[c] += part_of(amount, prior[c], weight + 1);
}

/// Sums up the weights of cases by class code, from 0, in their order.
inline void sum_by_class(const column& class_column, std::span<const case_list::value_type> cases,
                         std::span<double> by_code) {
  std::ranges::fill(by_code, 0.0);
  visit_class_codes(class_column.codes(), [&](const auto* classes) {
    for (const auto& [row, weight] : cases) by_code[classes[row]] += weight;
  });
}

/// Weight of the cases that are not of the given class.
inline double weight_of_others(const column& class_column,
                               std::span<const case_list::value_type> cases, class_t predicted) {
  double sum = 0;
  visit_class_codes(class_column.codes(), [&](const auto* classes) {
    for (const auto& [row, weight] : cases) {
      if (classes[row] != predicted) sum += weight;
    }
  });
  return sum;
}

}  // namespace orvik::impls
