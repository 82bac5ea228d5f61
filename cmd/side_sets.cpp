#include "side_sets.h"

namespace orvcmd {

bool prunes_on_side_set(int pruning) {
  return pruning >= static_cast<int>(orvik::model::REP) &&
         pruning <= static_cast<int>(orvik::model::MEPA);
}

side_sets split_classes(orvik::table* t, orvik::table::subset& cases, double fraction,
                        bool random) {
  using subset_ptr = std::unique_ptr<orvik::table::subset>;
  const unsigned long n = cases.stratify_frac(fraction, t, random);
  return {subset_ptr(cases.select(0, n, false)), subset_ptr(cases.select(0, n, true))};
}

}  // namespace orvcmd
