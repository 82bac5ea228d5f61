#include "impls/decision/conformal.h"

#include <algorithm>
#include <functional>
#include <limits>

namespace orvik::impls {

namespace {

using step = own_shares::step;

double weight_of(const std::vector<step>& steps) {
  double sum = 0;
  for (const step& each : steps) sum += each.weight;
  return sum;
}

void sort_descending(std::vector<step>& steps) {
  std::ranges::stable_sort(steps, std::greater(), &step::share);
}

/// Sorted steps, those of equal shares as one.
std::vector<step> merged(std::vector<step> steps) {
  sort_descending(steps);
  std::vector<step> distinct;
  for (const step& each : steps) {
    if (distinct.empty() || distinct.back().share != each.share)
      distinct.push_back({each.share, 0});
    distinct.back().weight += each.weight;
  }
  return distinct;
}

/// Runs of about equal weight as one step each, at the smallest of its shares.
std::vector<step> thinned(const std::vector<step>& steps) {
  if (steps.size() <= own_shares::k_most_steps) return steps;
  const double run = weight_of(steps) / (own_shares::k_most_steps - 1);
  std::vector<step> kept;
  double weight = 0;
  for (const step& each : steps) {
    weight += each.weight;
    if (weight < run && &each != &steps.back()) continue;
    kept.push_back({each.share, weight});
    weight = 0;
  }
  return kept;
}

}  // namespace

own_shares own_shares::of(std::span<const code_t> actual, std::span<const double> weights,
                          std::span<const double> shares, std::size_t n_codes) {
  std::vector<std::vector<step>> by_class(n_codes);
  for (std::size_t i = 0; i < actual.size(); ++i) {
    const code_t own = actual[i];
    if (own == k_unknown || !(weights[i] > 0)) continue;
    by_class[own].push_back({shares[i * n_codes + own], weights[i]});
  }
  for (std::vector<step>& steps : by_class) steps = thinned(merged(std::move(steps)));
  return own_shares(std::move(by_class));
}

double share_limit(std::vector<step> steps, double percent) {
  constexpr double k_rounding = 1 - 1e-12;  // of sums of weights
  sort_descending(steps);
  const double wanted = percent * (weight_of(steps) + 1) / 100 * k_rounding;
  double reached = 0;
  for (const step& each : steps) {
    reached += each.weight;
    if (reached >= wanted) return each.share;
  }
  return 0;
}

std::vector<double> own_shares::limits(const set_request& asked) const {
  std::vector<step> all;
  std::vector<double> limits;
  for (const std::vector<step>& steps : by_class_) {
    if (asked.by_class) limits.push_back(share_limit(steps, asked.percent));
    all.insert(all.end(), steps.begin(), steps.end());
  }
  if (!asked.by_class) limits.assign(by_class_.size(), share_limit(std::move(all), asked.percent));
  if (!limits.empty()) limits[k_unknown] = std::numeric_limits<double>::infinity();
  return limits;
}

}  // namespace orvik::impls
