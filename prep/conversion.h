// From a delimited file to a table's metadata and data.
#pragma once

#include <ostream>
#include <string>
#include <vector>

#include "layout.h"
#include "plan.h"
#include "table_input.h"

namespace orvprep {

struct settings {
  std::string input;
  std::string test;    ///< a second file; may be empty
  std::string output;  ///< prefix of what is written
  layout_wishes layout;
  encoding encoded = encoding::find_out;
  bool drop_unclassed = false;
  bool quiet = false;  ///< no summary
  cell_rules cells;
  column_wishes columns;
};

/// A file looked through, and what becomes of its columns by the settings, with a separator that
/// occurs in no cell of it. Of the settings what is said of the first file counts.
/// Throw std::runtime_error with file, line and column.
/// `to_load`: only the table is wanted, of which columns may be read as numbers at once: the number
/// of their different texts is not known then.
table_input look_through(const std::string& name, const settings& how, bool to_load = false);
table_plan plan_of(table_input& in, const settings& how);

/// Writes OUTPUT.names, OUTPUT.data and, with a test file, OUTPUT.test, each in one step when all
/// are complete; tells of the columns on `out`. Two passes over each file.
/// @return the plan that the files were written by.
/// Throws std::runtime_error with file, line and column.
table_plan convert(const settings& how, std::ostream& out);

}  // namespace orvprep
