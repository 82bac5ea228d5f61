// Options that have no effect in the run that was asked for.
#pragma once

#include <string>
#include <vector>

#include "options.h"

namespace orvcmd {

/// @return a line for each reason, "Ignored: -m, -fo (a saved model is used)", with the options
/// that were given and have no effect because of it. An option is told of once, and one that a
/// later option replaced is not told of for that.
std::vector<std::string> ignored_options(const options& opt);

}  // namespace orvcmd
