// Searches that change one attribute at a time (Kohavi and John, Wrappers for feature subset
// selection, 1997).
#pragma once

#include "impls/selection/evaluator.h"

namespace orvik::impls::selection {

/// Where a search came to.
struct found_set {
  rated_set start, best;
  bool ended;  // false: the time was up
};

/// From no attribute: adds the one that leaves the fewest errors, as long as that lowers them.
found_set search_forward(evaluator& rater);
/// From all attributes: removes the one that leaves the fewest errors, as long as that does not
/// raise them. Of equals the last one goes, so that the earlier ones stay.
found_set search_backward(evaluator& rater);

}  // namespace orvik::impls::selection
