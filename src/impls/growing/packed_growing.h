// Growing a tree that is packed as it grows.
#pragma once

#include "impls/growing/growing_plan.h"
#include "impls/trees/packed_tree.h"

namespace orvik::impls {

/// What decision_tree::build() grows without draws in order, not pruned and with its errors at the
/// leaves, on this thread: branch by branch, what is done being packed at once, while it is in the
/// cache. `cases` must stay until then and may be reordered.
packed_tree grow_packed(const growing_plan& plan, case_list& cases, unsigned long max_depth,
                        unsigned long seed);

}  // namespace orvik::impls
