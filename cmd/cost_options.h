// Options of what errors cost and classes weigh.
#pragma once

#include "options.h"

namespace orvcmd {

/// In place of a file of class weights: every class weighs the same.
inline constexpr std::string_view k_balanced = "balanced";

/// Throws the end of the process for options that do not fit together.
void require_sense_of_costs(const options& opt);

}  // namespace orvcmd
