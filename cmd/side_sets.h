// The cases that are kept from growing a tree, to prune it on them.
#pragma once

#include <memory>

#include "orvik/orvik.h"

namespace orvcmd {

/// Share of the training cases that a tree is grown on where the others are kept.
inline constexpr double k_growing_share = 0.7;

struct side_sets {
  std::unique_ptr<orvik::table::subset> grow, held;
};

/// Whether a pruning strategy, by its number, prunes on cases that the tree was not grown on.
bool prunes_on_side_set(int pruning);

/// Takes `fraction` of the cases of every class as the first set, drawn if `random`. Reorders
/// `cases`.
side_sets split_classes(orvik::table* t, orvik::table::subset& cases, double fraction, bool random);

}  // namespace orvcmd
