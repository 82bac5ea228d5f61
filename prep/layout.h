// How a file is laid out: its separator, and whether its first row names the columns.
#pragma once

#include <string>
#include <vector>

#include "source.h"

namespace orvprep {

enum class header_mode : unsigned char { find_out, present, absent };

struct layout {
  char separator = ',';
  bool has_header = false;
  bool has_row_names = false;  ///< rows have one cell more in front than the header
  std::vector<std::string> names;
};

/// Looks at the start of the file. `separator` 0 and `find_out` are found out: of the comma, the
/// semicolon, the tab and the bar the one that gives the most columns of all first rows, and is not
/// the decimal point; a header where no cell of the first row is a number or empty and one of a
/// column below is, or where no cell of the first row comes again. Names are made different and not
/// empty.
/// Throws std::runtime_error, naming the file, where there are no rows or nothing separates them.
layout layout_of(source& in, char separator, header_mode header, char decimal_point);

}  // namespace orvprep
