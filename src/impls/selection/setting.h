// What a search for attributes works on: T(S) is the tree grown with the attributes S on the
// growing cases, and it is judged by its errors on the search cases.
#pragma once

#include <chrono>

#include "impls/decision/pricing.h"
#include "impls/selection/attribute_set.h"
#include "impls/tables/table.h"
#include "orvik/enums.h"
#include "zel/util/default_context.h"

namespace orvik::impls::selection {

/// Trees, or families of them, that are grown side by side: enough for the workers, few enough for
/// the memory.
inline constexpr unsigned long k_side_by_side = 32;

/// The table, the lists and the context must outlive the search.
struct setting {
  const table& t;
  const case_list& growing;
  const case_list& searching;
  model::split_type type;
  double min_weight;
  unsigned long max_depth;
  bool preprune;
  attribute_set usable;  // the attributes to choose from
  const zel::util::run_context& run = zel::util::default_context();
  pricing price{};        // of errors
  double mean_price = 1;  // of an error at the root of the trees

  bool has_costs() const { return price.costs() != nullptr; }
};

/// The search cases, column by column. They must not outlive the setting.
///
/// Weights count in whole units of 2^k, k such that all of them have at most 2^52: sums of errors
/// are then the same in every order, and equal errors are equal.
class search_cases {
 public:
  explicit search_cases(const setting& s);

  unsigned long size() const { return rows_.size(); }
  row_t row(unsigned long at) const { return rows_[at]; }
  class_t class_of(unsigned long at) const { return classes_[at]; }
  /// What the case adds to the errors, or the cost, where a class is predicted.
  unsigned long units(unsigned long at, code_t predicted) const {
    if (costs_ != nullptr) return priced_units(at, predicted);
    return classes_[at] == predicted ? 0 : units_[at];
  }
  /// Units of all cases; where errors have costs those of a cost of 1 each.
  unsigned long total() const { return total_; }
  /// The most units that errors can add up to.
  unsigned long most() const { return most_; }
  /// The share of all cases; 0 where they weigh nothing.
  double share(unsigned long units) const {
    return total_ == 0 ? 0.0 : static_cast<double>(units) / static_cast<double>(total_);
  }

 private:
  unsigned long priced_units(unsigned long at, code_t predicted) const;

  const cost_matrix* costs_;
  int scale_ = 0;
  std::vector<double> weights_;  // where errors have costs
  std::vector<row_t> rows_;
  std::vector<class_t> classes_;
  std::vector<unsigned long> units_;
  unsigned long total_ = 0, most_ = 0;
};

/// When a search must stop.
class deadline {
 public:
  /// In so many seconds; 0: never.
  explicit deadline(double seconds = 0);
  bool passed() const { return limited_ && clock::now() >= end_; }
  /// The same for all processes of a run's team, by the clock of the first.
  bool passed(const zel::util::run_context& run) const;

 private:
  using clock = std::chrono::steady_clock;
  bool limited_;
  clock::time_point end_;
};

}  // namespace orvik::impls::selection
