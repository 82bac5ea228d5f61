// Complete searches: every distinct tree is looked at once, or ruled out by a bound.
#pragma once

#include <optional>
#include <vector>

#include "impls/selection/family.h"
#include "impls/selection/sequential.h"

namespace orvik::impls::selection {

/// What a complete search came to.
struct complete_result {
  rated_set best;              // the answer
  rated_set start;             // all attributes
  unsigned long least_errors;  // of any subset, as far as the search came
  bool proven;                 // no subset can be better
  feature_search done;
};

/// The subset of the fewest errors by looking at all distinct trees, without a bound.
complete_result search_exhaustively(const setting& s, const deadline& limit);
/// The smallest subset of at most `delta` percentage points more errors than the least, of these
/// the one with the fewest errors. It starts from what forward and backward searches find.
complete_result search_acceptable(const setting& s, double delta, const deadline& limit);

}  // namespace orvik::impls::selection
