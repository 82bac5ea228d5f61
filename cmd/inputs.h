// The text files that a run reads.
#pragma once

#include "options.h"

namespace orvcmd {

/// Throws std::runtime_error for the first text file that the run of `opt` would fail to open,
/// with the message that it would fail with, which may be hours later. Pipes and devices are left
/// alone: what is read of them is gone.
void check_inputs(const options& opt);

}  // namespace orvcmd
