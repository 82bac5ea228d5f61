// From a delimited file to a table's metadata and data.
#pragma once

#include <ostream>
#include <string>
#include <vector>

#include "layout.h"
#include "plan.h"

namespace orvprep {

struct settings {
  std::string input;
  std::string test;    ///< a second file; may be empty
  std::string output;  ///< prefix of what is written
  char separator = 0;  ///< of the input; 0: found out
  header_mode header = header_mode::find_out;
  bool drop_unclassed = false;
  bool quiet = false;  ///< no summary
  cell_rules cells;
  column_wishes columns;
};

/// Writes OUTPUT.names, OUTPUT.data and, with a test file, OUTPUT.test, each in one step when all
/// are complete; tells of the columns on `out`. Two passes over each file.
/// Throws std::runtime_error with file, line and column.
void convert(const settings& how, std::ostream& out);

}  // namespace orvprep
