// The step of a run that makes the shares of a model mean what they say.
#pragma once

#include <ostream>

#include "options.h"
#include "orvik/orvik.h"

namespace orvcmd {

/// Makes one of what is said of calibration and sets; throws early_end where it does not fit.
void settle_calibration(options& opt);

/// Calibrates a model by rows of the file that the options name, else by the cases it was grown on;
/// `t` and `cases` may be null where there is a file. Nothing where it is not asked for.
/// Throws std::runtime_error for rows of no use, and where sets are asked for that the model cannot
/// give.
void calibrate(const options& opt, orvik::table* t, orvik::table::subset* cases,
               orvik::dtree& model, std::ostream* log);

}  // namespace orvcmd
