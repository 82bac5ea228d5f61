// How a file is laid out: its separator, and whether its first row names the columns.
#pragma once

#include <string>
#include <vector>

#include "source.h"

namespace orvprep {

enum class header_mode : unsigned char { find_out, present, absent };

/// What the user says of a file.
struct layout_wishes {
  char separator = 0;  ///< 0: found out
  header_mode header = header_mode::find_out;
  char decimal_point = 0;  ///< no separator
  char comment = 0;        ///< that lines to be passed over begin with; 0: none but in front
};

struct layout {
  char separator = ',';
  bool has_header = false;
  bool has_row_names = false;  ///< rows have one cell more in front than the header
  bool has_last_separators =
      false;                      ///< rows end with one: a last cell that is empty, and no column
  unsigned long n_comments = 0;   ///< lines in front that begin with "#", passed over
  unsigned long counts_line = 0;  ///< gives the numbers of rows and columns, passed over; 0: none
  std::vector<std::string> names;

  std::size_t n_cells() const { return names.size() + (has_last_separators ? 1 : 0); }
};

/// Looks at the start of the file, and makes it pass over comments from now on:
/// - lines in front that begin with "#" are comments, but the last one is the header where it has
/// the
///   columns of the rows and no other header follows;
/// - the separator is, of the comma, the semicolon, the tab and the bar, the one that gives the
/// most
///   columns, the same in all first rows; the comma is none where it stands in decimal numbers
///   only; blanks are one where none of these is; else the one that gives most rows the same
///   columns;
/// - a header is where no cell of the first row is a number or empty and one of a column below is,
///   or where no cell of the first row comes again; where names are double or missing, one of them
///   must stand above nothing but numbers.
/// - a first line of numbers and names is none of the rows where its first cells are the number of
/// rows below and that of the columns but one.
/// Names are made different and not empty. A last cell of all rows that is empty in each of the
/// first ones, and has no name, is none. Throws std::runtime_error, naming the file, where there
/// are no rows or nothing separates them.
layout layout_of(source& in, const layout_wishes& wishes);

}  // namespace orvprep
