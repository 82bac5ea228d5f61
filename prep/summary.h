// A table of the columns for people.
#pragma once

#include <ostream>

#include "plan.h"
#include "table_input.h"

namespace orvprep {

/// A line a column: name, type, role, distinct values, share of unknown ones, the range of a number
/// or the most frequent values, and what is to be said of it. Then what is to be said of the file:
/// another encoding, comments, and how orvcmd is to be called.
void write_summary(const table_input& in, const table_plan& plan, std::ostream& out);

/// The lines on the file alone; none where all is plain. `rules` are those that it was read by.
void write_remarks(const table_input& in, const cell_rules& rules, std::ostream& out);

}  // namespace orvprep
