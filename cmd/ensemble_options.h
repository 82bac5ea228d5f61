/// What the options of ensembles mean together.
#pragma once

#include "options.h"

namespace orvcmd {

/// Fills in what "-rf", "-bo" and "-free" say of options that are not given: "-bo" where none says
/// how trees are grown or answer, so that "-bo 10 -mtry all" boosts plain pruned trees. Throws
/// early_end, naming the options, for some that make no sense together.
void settle_ensemble(options& opt);

}  // namespace orvcmd
