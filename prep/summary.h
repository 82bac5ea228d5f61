// A table of the columns for people.
#pragma once

#include <ostream>
#include <vector>

#include "layout.h"
#include "plan.h"

namespace orvprep {

/// A line a column: name, type, role, distinct values, share of unknown ones, the range of a number
/// or the most frequent values, and what is to be said of it.
void write_summary(const layout& form, const std::vector<column_profile>& profiles,
                   const std::vector<column_plan>& plans, std::ostream& out);

}  // namespace orvprep
