// A block of lines into batches of rows, with the fields of split_fields().
#pragma once

#include <cstdint>
#include <string_view>
#include <vector>

#include "impls/values/cell_batch.h"

namespace orvik::impls {

/// Cuts one block after another, looking for separators and line ends 64 bytes at a time.
class row_splitter {
 public:
  /// `opens_last`: a separator at the very end of a row opens an empty field; otherwise it ends
  /// the one before.
  row_splitter(char separator, std::size_t columns, bool opens_last = false);

  /// Begins with the first line of `block`, whole lines that must outlive their cells.
  /// A block has less than 4 GiB.
  void start(std::string_view block);

  /// Cuts the next rows, up to cell_batch::k_rows. @return their number, 0 when a bad row comes
  /// next or the block has ended. A bad row has another number of fields than there are columns,
  /// or a NUL byte, or is empty in a table of more than one column.
  std::size_t next();
  /// After next(): whether the row behind those that it gave is a bad one.
  bool stopped() const { return stopped_; }
  /// What is left of the block behind the rows that next() gave.
  std::string_view rest() const { return text_.substr(at_); }
  /// The line of the bad row.
  std::string_view bad_line() const { return bad_line_; }

  /// Cells of column `c` of the rows that next() gave, valid until the next next().
  cell_batch column(std::size_t c) const;

 private:
  std::size_t find_rows();
  std::size_t find_rows_simply();
  bool end_row(std::size_t feed);
  bool accept(std::string_view line) const;
  void refuse(std::string_view line);
  void trim_row();

  char separator_;
  std::size_t columns_;
  bool opens_last_;
  bool simple_;  // a separator that the fast search does not know
  std::string_view text_;
  std::size_t at_ = 0;  // where the next row begins
  bool has_blanks_ = false;
  bool has_nul_ = false;
  bool stopped_ = false;
  std::string_view bad_line_;
  std::size_t rows_ = 0;
  std::vector<cell> cells_;  // row by row
  std::size_t row_ = 0;      // first cell of the row being cut
  std::size_t end_ = 0;      // one past its last cell
  std::size_t begin_ = 0;    // where its current field begins
  std::vector<std::string_view> fields_;
};

}  // namespace orvik::impls
