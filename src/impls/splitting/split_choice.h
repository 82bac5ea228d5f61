// The choice among the tests a node could have, from their descriptors alone.
//
// It looks at no cases, so whoever keeps the descriptors of a node can choose again among fewer
// attributes.
#pragma once

#include <algorithm>
#include <cassert>
#include <optional>
#include <span>
#include <utility>
#include <vector>

#include "impls/splitting/ranking.h"
#include "impls/trees/candidate.h"
#include "impls/trees/split_test.h"
#include "orvik/enums.h"
#include "zel/util/quick_gen.h"
#include "zel/util/rand_gen.h"

namespace orvik::impls {

/// Shorter case lists are measured in place: each sort leaves them in the order of the last one.
constexpr unsigned long k_copied_cases = 50;

/// Whether a continuous attribute is measured by sorting the cases: where there are not many of
/// them a code of the range.
constexpr bool is_measured_by_sorting(unsigned long n_cases, unsigned long n_codes) {
  return n_cases < 2 * n_codes;
}

namespace split_choice {

/// Instead of the mean gain of no test at all.
constexpr double k_no_average = 1000000.0;

inline bool can_split(const column::splitting_desc& desc) { return desc.gain > column::k_no_gain; }

/// Mean gain of the candidates that can split and that keep(attribute) lets in.
template <class Keep>
double average_gain(std::span<const candidate> candidates, const Keep& keep) {
  double sum = 0;
  unsigned long n = 0;
  for (const candidate& c : candidates) {
    if (!can_split(c.desc) || !keep(c.attribute)) continue;
    sum += c.desc.gain;
    ++n;
  }
  return n == 0 ? k_no_average : sum / static_cast<double>(n);
}

/// Of the candidates that keep(attribute) lets in, that of the greatest value, the first of
/// equals; null if none passes. They stand in the order of the attributes.
template <class Keep>
const candidate* best_of(std::span<const candidate> candidates, model::split_type type,
                         const Keep& keep) {
  const splitting::ranking& by = splitting::ranking_of(type);
  assert(std::ranges::is_sorted(candidates, {}, &candidate::attribute));
  const double mean = by.above_mean ? average_gain(candidates, keep) : 0.0;
  const candidate* best = nullptr;
  double best_value = column::k_no_gain;
  for (const candidate& c : candidates) {
    if (!can_split(c.desc) || !keep(c.attribute)) continue;
    const std::optional<double> value = by.value_of(c.desc, mean);
    if (!value || !(*value > best_value)) continue;
    best = &c;
    best_value = *value;
  }
  return best;
}

}  // namespace split_choice

/// Throws std::runtime_error for a type that is none.
void require_known(model::split_type type);
/// Keeps floor(log2 k) + 1 of the candidates, drawn in order from k.
void keep_random(std::vector<candidate>& candidates, unsigned long k, zel::util::rand_gen& draw);
/// Whether the test of a measured candidate may be chosen.
bool is_valid(const column::splitting_desc& desc, model::split_type type);
/// Measures candidates by measure(candidate), drawn one by one, until `wanted` have a valid test
/// or none is left; keeps the measured ones, in the order of the attributes.
template <class Measure>
void measure_drawn(std::vector<candidate>& candidates, unsigned long wanted, model::split_type type,
                   zel::util::quick_gen& draw, const Measure& measure) {
  std::size_t measured = 0;
  for (unsigned long valid = 0; valid < wanted && measured < candidates.size(); ++measured) {
    candidate& next = candidates[measured];
    std::swap(next, candidates[measured + draw.below(candidates.size() - measured)]);
    measure(next);
    valid += is_valid(next.desc, type);
  }
  candidates.resize(measured);
  std::ranges::sort(candidates, {}, &candidate::attribute);
}
/// The candidate of the greatest value, the first of equals; null if none passes.
const candidate* best_of(const std::vector<candidate>& candidates, model::split_type type);
/// The test that a candidate on the column is.
split_test test_of(const column& tested, const candidate& chosen);

}  // namespace orvik::impls
