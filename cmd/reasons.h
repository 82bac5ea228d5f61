// Why a model says what it says of the rows to score.
#pragma once

#include <ostream>

#include "options.h"
#include "orvik/orvik.h"

namespace orvcmd {

/// Throws early_end where the options of reasons do not fit the others.
void require_rows_to_explain(const options& opt);

/// Writes the reasons of the model's predictions for the rows of the score file, which is read
/// for this, and logs it; `log` may be null. An older file is replaced once there are rows.
/// Throws std::runtime_error for a file that cannot be read or written and for the first bad row.
void explain_file(const options& opt, const orvik::dtree& model, std::ostream* log);

}  // namespace orvcmd
