// Columns of one name: a table may have them, but its user should know.
#pragma once

#include <ostream>

#include "impls/tables/table.h"

namespace orvik::impls {

/// A line, begun with its line feed, for every name that several columns have, with the lines of
/// the metadata file that they came from.
void report_duplicate_names(const table& t, std::ostream& log);

}  // namespace orvik::impls
