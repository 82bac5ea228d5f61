// How a node compares the tests it could have: a small value for each split type.
#pragma once

#include <array>
#include <cassert>
#include <optional>

#include "impls/splitting/impurity.h"
#include "impls/tables/column.h"
#include "orvik/enums.h"

namespace orvik::impls::splitting {

/// Nothing is compared that does not split: the gain must be above column::k_no_gain.
struct ranking {
  static constexpr double k_gain_tolerance = 0.001;
  static constexpr double k_least_split_info = 0.001;

  bool by_ratio;    // gain / split information (Quinlan 1986), else the gain
  bool above_mean;  // only tests whose gain is not below the mean gain (Quinlan 1993)

  /// What a test is compared by; nothing where it is passed over.
  std::optional<double> value_of(const column::splitting_desc& desc, double mean_gain) const {
    if (!by_ratio) return desc.split_info <= 0 ? std::nullopt : std::optional(desc.gain);
    if (above_mean && desc.gain < mean_gain - k_gain_tolerance) return std::nullopt;
    if (!(desc.split_info > k_least_split_info)) return std::nullopt;
    return desc.gain / desc.split_info;
  }
};

constexpr std::array<ranking, model::N_SPLIT_TYPES> k_rankings = {
    {{false, false}, {true, false}, {true, true}}};

constexpr const ranking& ranking_of(model::split_type type) {
  assert(type < model::N_SPLIT_TYPES);
  return k_rankings[type];
}

/// Calls f(impurity) with what tests of this split type take away.
template <class F>
decltype(auto) visit_impurity(model::split_type, const F& f) {
  return f(entropy());
}

}  // namespace orvik::impls::splitting
