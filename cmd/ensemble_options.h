/// What the options of ensembles mean together.
#pragma once

#include "options.h"

namespace orvcmd {

/// Fills in what "-rf" and "-free" say of options that are not given. Throws early_end, naming the
/// options, for some that make no sense together.
void settle_ensemble(options& opt);

}  // namespace orvcmd
