#include "impls/decision/cost_matrix.h"

#include <algorithm>
#include <set>
#include <stdexcept>
#include <utility>

namespace orvik::impls {

namespace {

constexpr char k_many_classes[] = "costs are for at most 1000 classes";
constexpr char k_bad_costs[] = "costs that are none";

constexpr double k_cost_rounding = 1e-9;  // relative; equal sums of other terms

bool is_cost(double cost) { return cost >= 0 && cost <= k_dearest; }

}  // namespace

cost_matrix::cost_matrix(unsigned long n_class_codes) : n_(n_class_codes) {
  if (n_ > k_most_codes) throw std::runtime_error(k_many_classes);
  costs_.assign(n_ * n_, 1.0);
  for (code_t c = 0; c < n_; ++c) {
    costs_[c * n_ + c] = 0;
    costs_[c] = 0;  // nothing is known of what would be right
  }
}

cost_matrix::cost_matrix(unsigned long n_class_codes, std::span<const class_cost> given)
    : cost_matrix(n_class_codes) {
  std::set<std::pair<code_t, code_t>> named;
  const auto is_class = [this](code_t c) { return c != k_unknown && c < n_; };
  for (const auto& [predicted, actual, cost] : given) {
    const bool fits = is_class(predicted) && is_class(actual) && is_cost(cost);
    const bool right = predicted != actual || cost == 0;
    zel::inpout::require(fits && right && named.emplace(predicted, actual).second, k_bad_costs);
    set(predicted, actual, cost);
  }
}

std::vector<class_cost> cost_matrix::given() const {
  std::vector<class_cost> pairs;
  for (code_t predicted = 1; predicted < n_; ++predicted) {
    for (code_t actual = 1; actual < n_; ++actual) {
      const double c = cost(predicted, actual);
      if (predicted != actual && c != 1) pairs.push_back({predicted, actual, c});
    }
  }
  return pairs;
}

cost_matrix cost_matrix::scaled(double factor) const {
  cost_matrix made = *this;
  for (double& cost : made.costs_) cost *= factor;
  return made;
}

double cost_matrix::of_errors_on(code_t actual) const {
  double sum = 0;
  for (code_t predicted = 1; predicted < n_; ++predicted) sum += cost(predicted, actual);
  return sum;
}

void cost_matrix::set(code_t predicted, code_t actual, double cost) {
  assert(predicted != k_unknown && predicted < n_ && actual != k_unknown && actual < n_);
  assert(is_cost(cost) && (predicted != actual || cost == 0));
  costs_[actual * n_ + predicted] = cost;
}

double cost_matrix::expected(code_t predicted, std::span<const double> by_code) const {
  assert(by_code.size() == n_);
  double sum = 0;
  for (code_t actual = 1; actual < n_; ++actual) sum += by_code[actual] * cost(predicted, actual);
  return sum;
}

code_t cost_matrix::cheapest(std::span<const double> by_code) const {
  assert(by_code.size() == n_);
  thread_local std::vector<double> sums;
  sums.assign(n_, 0.0);
  bool some = false;
  for (code_t actual = 1; actual < n_; ++actual) {
    const double weight = by_code[actual];
    if (weight == 0) continue;
    some = true;
    const double* const row = costs_.data() + actual * n_;
    for (code_t predicted = 1; predicted < n_; ++predicted) {
      sums[predicted] += weight * row[predicted];
    }
  }
  if (!some) return k_unknown;
  const double least = *std::min_element(sums.begin() + 1, sums.end());
  const auto is_least = [most = least * (1 + k_cost_rounding)](double sum) { return sum <= most; };
  const auto found = std::find_if(sums.begin() + 1, sums.end(), is_least);
  return found == sums.end() ? k_unknown : static_cast<code_t>(found - sums.begin());
}

double cost_matrix::mean_of_errors(code_t predicted, std::span<const double> by_code) const {
  double others = 0;
  for (code_t actual = 1; actual < n_; ++actual)
    others += actual == predicted ? 0 : by_code[actual];
  return others > 0 ? expected(predicted, by_code) / others : 1.0;
}

void cost_matrix::bin_out(zel::inpout::obinstream& out) const {
  out << n_;
  for (code_t actual = 1; actual < n_; ++actual) {
    out.write_array(std::span(costs_).subspan(actual * n_ + 1, n_ - 1));
  }
}

cost_matrix cost_matrix::bin_in(zel::inpout::ibinstream& in) {
  unsigned long n = 0;
  in >> n;
  zel::inpout::require(n > 0 && n <= k_most_codes, k_bad_costs);
  cost_matrix read(n);
  for (code_t actual = 1; actual < n; ++actual) {
    const std::vector<double> row = in.read_array<double>(n - 1);
    zel::inpout::require(std::ranges::all_of(row, is_cost) && row[actual - 1] == 0, k_bad_costs);
    std::ranges::copy(row, read.costs_.begin() + static_cast<std::ptrdiff_t>(actual * n + 1));
  }
  return read;
}

}  // namespace orvik::impls
