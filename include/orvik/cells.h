// Values of columns in memory, as the arrays of other programs hold them.
#pragma once

#include <string>
#include <vector>

#include "orvik/enums.h"

namespace orvik {

/// The cells of one column, read where they lie: whoever makes this keeps the memory.
/// Shape: cell i is `step` bytes behind cell i - 1; neither needs to be aligned.
struct cell_array {
  enum kind : unsigned char {
    NONE,  ///< every cell is unknown
    INT8,
    INT16,
    INT32,
    INT64,
    UINT8,
    UINT16,
    UINT32,
    UINT64,
    FLOAT,  ///< of this and the next two not-a-numbers are unknown
    DOUBLE,
    LONG_DOUBLE
  };
  kind of = NONE;
  const void* first = nullptr;
  long step = 0;
  /// A byte a cell, not 0 where it is unknown; null: none is for that.
  const unsigned char* unknown = nullptr;
  long unknown_step = 1;
  /// Null: the cells are the values. Else they are places in this list, which integers tell, below
  /// 0 unknown.
  const std::vector<std::string>* texts = nullptr;
};

/// A column of a table in memory: what a line of metadata says of it, and its cells.
struct column_cells {
  std::string name;
  std::string type;  ///< "integer", "double", "string", "ostring:low;high", ...
  model::column_role role = model::DISCRETE;
  cell_array cells;
};

}  // namespace orvik
