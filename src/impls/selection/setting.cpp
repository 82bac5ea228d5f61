#include "impls/selection/setting.h"

#include <algorithm>
#include <bit>
#include <cmath>
#include <limits>

#include "zel/util/run_context.h"

namespace orvik::impls::selection {

namespace {

constexpr int k_unit_bits = 52;          // all search cases together
constexpr double k_longest_limit = 1e9;  // seconds; more would not fit the clock

}  // namespace

search_cases::search_cases(const setting& s) : costs_(s.price.costs()) {
  const unsigned long n = s.searching.size();
  rows_.reserve(n);
  classes_.reserve(n);
  units_.reserve(n);
  double sum = 0;
  const double dearest = costs_ == nullptr ? 1.0 : std::max(1.0, costs_->dearest());
  for (const auto& each : s.searching) sum += each.second * dearest;
  // Weights of any size are finite, their sum need not be.
  const double bounded = std::min(sum, std::numeric_limits<double>::max());
  const int spare = std::isfinite(sum) ? 0 : static_cast<int>(std::bit_width(n));
  scale_ = sum > 0 ? k_unit_bits - 1 - std::ilogb(bounded) - spare : 0;
  for (const auto& [row, weight] : s.searching) {
    rows_.push_back(row);
    classes_.push_back(static_cast<class_t>(s.t.class_column().get_row_index(row)));
    units_.push_back(static_cast<unsigned long>(std::llround(std::ldexp(weight, scale_))));
    total_ += units_.back();
    if (costs_ != nullptr) weights_.push_back(weight);
  }
  most_ = costs_ == nullptr ? total_ : 1UL << (k_unit_bits + 1);
}

unsigned long search_cases::priced_units(unsigned long at, code_t predicted) const {
  const double price = weights_[at] * costs_->cost(predicted, classes_[at]);
  return static_cast<unsigned long>(std::llround(std::ldexp(price, scale_)));
}

deadline::deadline(double seconds) : limited_(seconds > 0) {
  if (!limited_) return;
  const std::chrono::duration<double> left(std::min(seconds, k_longest_limit));
  end_ = clock::now() + std::chrono::duration_cast<clock::duration>(left);
}

bool deadline::passed(const zel::util::run_context& run) const {
  if (!limited_ || run.companions == nullptr) return passed();
  return !run.companions->exchange(passed() ? "passed" : "")[0].empty();
}

}  // namespace orvik::impls::selection
