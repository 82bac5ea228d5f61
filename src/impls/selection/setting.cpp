#include "impls/selection/setting.h"

#include <algorithm>
#include <cmath>

namespace orvik::impls::selection {

namespace {

constexpr int k_unit_bits = 52;          // all search cases together
constexpr double k_longest_limit = 1e9;  // seconds; more would not fit the clock

}  // namespace

search_cases::search_cases(const setting& s) {
  const unsigned long n = s.searching.size();
  rows_.reserve(n);
  classes_.reserve(n);
  units_.reserve(n);
  double sum = 0;
  for (const auto& each : s.searching) sum += each.second;
  const int scale = sum > 0 ? k_unit_bits - 1 - std::ilogb(sum) : 0;
  for (const auto& [row, weight] : s.searching) {
    rows_.push_back(row);
    classes_.push_back(static_cast<class_t>(s.t.class_column().get_row_index(row)));
    units_.push_back(static_cast<unsigned long>(std::llround(std::ldexp(weight, scale))));
    total_ += units_.back();
  }
}

deadline::deadline(double seconds) : limited_(seconds > 0) {
  if (!limited_) return;
  const std::chrono::duration<double> left(std::min(seconds, k_longest_limit));
  end_ = clock::now() + std::chrono::duration_cast<clock::duration>(left);
}

}  // namespace orvik::impls::selection
