// Text whose rows are to be loaded before the types of their columns are known.
#pragma once

#include <functional>
#include <string>
#include <string_view>

#include "orvik/export.h"

namespace orvik {

/// Where rows come from, a line each, and what their cells are.
class ORVIK_EXPORT row_text {
 public:
  virtual ~row_text();

  /// The next block is the first one again.
  virtual void rewind() = 0;
  /// Puts the next lines, whole ones that end with line feeds, in the place of `block`, of less
  /// than 4 GiB. @return false at the end. Called by one thread at a time.
  virtual bool next(std::string& block) = 0;
  /// Makes lines of the block whose cells are parted by `separator`, which it may replace by
  /// another one that is always the same. @return false where it cannot. Called by many threads.
  virtual bool prepare(std::string& block, char& separator) const = 0;

  enum class cell_kind : unsigned char { number, unknown, text };
  /// What a cell is in a column of numbers. `value` receives that of a number, finite and no -0;
  /// into `marks` a number sets bits whose meaning is the caller's. Called by many threads.
  virtual cell_kind read(std::string_view cell, double& value, unsigned& marks) const = 0;
};

/// Appends what a text of a column becomes; called by many threads for different columns.
using cell_writer =
    std::function<void(unsigned long column, std::string_view text, std::string& to)>;

}  // namespace orvik
