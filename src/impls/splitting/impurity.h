// How mixed the classes of some cases are: what a test is to take away.
//
// Cases add up to amounts: weights, whose sums hang on the order of the additions, or counts of
// cases of weight 1, whole numbers that add up to the same in any order. Ties between attributes
// are frequent and the last bit of a sum decides them, so the order is part of the result: cases
// in list order, cells from the lowest code up, classes and branches in ascending order.
//
// An impurity is a small value type with the functions of `entropy`. To add one, write it beside
// this and name it in criterion.h.
#pragma once

#include <array>
#include <concepts>
#include <cstdint>
#include <span>

#include "impls/splitting/count_logs.h"

namespace orvik::impls::splitting {

using count_t = std::uint32_t;

/// Whether sums of the amount are the same in any order.
template <class Amount>
constexpr bool is_exact = std::integral<Amount>;

/// Sums S log2 S - sum of n log2 n over amounts n with sum S: the entropy of their distribution
/// times S.
template <class Amount>
class info_sum {
 public:
  void add(Amount n) {
    total_ += n;
    if (n != 0) logs_ += terms_.of(n);
  }
  double value() const { return terms_.of(total_) - logs_; }

 private:
  const count_logs& terms_ = count_logs::get();
  Amount total_ = 0;
  double logs_ = 0;
};

/// Class entropy in bits (Shannon; "info" in Quinlan, C4.5: Programs for Machine Learning, 1993).
class entropy {
 public:
  /// The impurity of a distribution over classes times its sum, which counts come with; weights
  /// are added up again, class by class.
  double of(std::span<const count_t> counts, count_t sum) const {
    double terms = 0;
    for (const count_t n : counts) terms += logs_.of(n);
    return logs_.of(sum) - terms;
  }
  double of(std::span<const double> weights, double /*sum*/) const {
    std::size_t present = 0;
    for (const double w : weights) present += w != 0;
    if (present == 1) return 0;  // the sum is the one weight, and so are their logarithms
    info_sum<double> sum;
    for (const double w : weights) sum.add(w);
    return sum.value();
  }
  /// That of two distributions over the same classes; two chains of additions side by side.
  double of_both(std::span<const count_t> a, count_t a_sum, std::span<const count_t> b,
                 count_t b_sum) const {
    double a_terms = 0, b_terms = 0;
    for (std::size_t i = 0; i < a.size(); ++i) {
      a_terms += logs_.of(a[i]);
      b_terms += logs_.of(b[i]);
    }
    return (logs_.of(a_sum) - a_terms) + (logs_.of(b_sum) - b_terms);
  }
  /// The table that so many calls of the next look into, for counts that add up to `most`; null
  /// where there is none.
  const double* table_to(count_t most, std::size_t n_calls) const {
    return logs_.up_to(most, n_calls);
  }
  /// The same of K classes by a table, where one side has some and the other the rest of `all`.
  template <std::size_t K>
  static double of_both(const double* logs, const std::array<count_t, K>& a, count_t a_sum,
                        const std::array<count_t, K>& all, count_t all_sum) {
    double a_terms = logs[a[0]], b_terms = logs[all[0] - a[0]];
    for (std::size_t i = 1; i < K; ++i) {
      a_terms += logs[a[i]];
      b_terms += logs[all[i] - a[i]];
    }
    return (logs[a_sum] - a_terms) + (logs[all_sum - a_sum] - b_terms);
  }
  double of_both(std::span<const double> a, double a_sum, std::span<const double> b,
                 double b_sum) const {
    return of(a, a_sum) + of(b, b_sum);
  }

  /// What choosing among so many cuts costs a case (Quinlan, Improved use of continuous attributes
  /// in C4.5, 1996).
  static double price_of_choice(unsigned long tries, double total) {
    return log2_of(static_cast<double>(tries)) / total;
  }

 private:
  const count_logs& logs_ = count_logs::get();
};

}  // namespace orvik::impls::splitting
