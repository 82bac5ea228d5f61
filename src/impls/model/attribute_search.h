// How a model searches its attributes, and what the last search did.
#pragma once

#include <string>

#include "orvik/enums.h"
#include "orvik/feature_search.h"

namespace orvik::impls {

struct attribute_search {
  model::feature_selection method = model::NO_SELECTION;
  double delta = 1.0;  // of the acceptable subset, percentage points
  double seconds = 0;  // 0: no limit
  // Of the usable attributes as they are.
  model::feature_selection made_by = model::NO_SELECTION;
  bool by_build = false;  // made for one build; the next one does not go on using them
  feature_search done;
  std::string log;
};

}  // namespace orvik::impls
