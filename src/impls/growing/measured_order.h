// The order in which growing leaves the cases of a root.
//
// A short list, and one of a node that draws its attributes, is measured in place: each attribute
// that is measured by sorting leaves it in its order. Whoever adds up fractions of cases over it
// again, as pruning does, has to start from that order.
#pragma once

#include "impls/tables/table.h"
#include "zel/adt/bitmap.h"
#include "zel/util/rand_gen.h"

namespace orvik::impls {

/// Sorts the cases of a root as measuring its attributes does. `draw` (null: all are measured)
/// picks them as in growing, from its first draw on. Stable: ties keep their order.
void sort_as_measured(const table& t, const zel::adt::bitmap& usable, zel::util::rand_gen* draw,
                      case_list& cases);

}  // namespace orvik::impls
