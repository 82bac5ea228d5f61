// The search for the attributes a model is to use.
#pragma once

#include <string>

#include "impls/selection/setting.h"
#include "orvik/enums.h"
#include "orvik/feature_search.h"

namespace orvik::impls::selection {

struct found_attributes {
  attribute_set set;
  feature_search done;
  std::string log;  // of the same, a line each, without an end of the last line
};

/// Which attributes `method` finds. `delta`, in percentage points, is for the acceptable subset:
/// the smallest one whose error is at most that much above the least; -1 is 0 without the bound
/// that rules subsets out. `seconds` (0: none) limit the search.
found_attributes find_attributes(const setting& s, model::feature_selection method, double delta,
                                 double seconds);

}  // namespace orvik::impls::selection
