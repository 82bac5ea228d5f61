// A run of the program, from its options to its outputs.
#pragma once

#include "options.h"

namespace orvcmd {

/// Throws what exit_status_of() knows.
void run_program(options& opt);

}  // namespace orvcmd
