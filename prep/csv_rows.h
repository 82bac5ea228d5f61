// Rows of a delimited file, cell by cell: quotes, embedded separators and line ends as in RFC 4180.
//
// The parsing is libcsv's; here are what it lacks: line numbers, a limit on the size of a cell, and
// errors that name file and line.
#pragma once

#include <csv.h>

#include <stdexcept>
#include <string>
#include <string_view>

#include "source.h"

namespace orvprep {

/// What is wrong with a file, and where: "FILE:LINE: reason".
class file_error : public std::runtime_error {
 public:
  file_error(const std::string& file, unsigned long line, const std::string& reason)
      : std::runtime_error(file + ":" + std::to_string(line) + ": " + reason) {}
};

/// Receives a file. Cells are valid during the call only.
class row_visitor {
 public:
  virtual ~row_visitor() = default;
  /// Cell `column`, from 0, of the row in progress, without blanks around it; line of its end.
  virtual void cell(unsigned long column, std::string_view text, unsigned long line) = 0;
  /// The row of `n` cells, at least 1, that ended at `line`. @return whether to go on.
  virtual bool end_of_row(unsigned long n, unsigned long line) = 0;
};

/// With a blank for separator, runs of blanks are one.
/// Gives all rows, or those up to the one that is enough, to the visitor; empty lines are no rows.
/// Throws file_error for quotes that do not fit and for what the visitor throws nothing else.
class csv_rows {
 public:
  csv_rows(const std::string& name, char separator);
  ~csv_rows();
  csv_rows(const csv_rows&) = delete;
  csv_rows& operator=(const csv_rows&) = delete;

  /// Reads from the start of `in`.
  void read(source& in, row_visitor& visit);
  /// Reads the rows of `bytes`, the last of which may be cut short: it is left out.
  void read_complete_rows(std::string_view bytes, row_visitor& visit);

 private:
  static void on_cell(void* text, std::size_t length, void* self);
  static void on_row(int end, void* self);
  bool feed(std::string_view bytes);
  void start(row_visitor& visit);
  void finish();
  [[noreturn]] void fail(const std::string& reason) const;
  void take_cell(std::string_view text);
  void take_row(int end);

  std::string name_;
  bool runs_of_blanks_;
  csv_parser parser_;
  row_visitor* visit_ = nullptr;
  unsigned long line_ = 1;    // of the row in progress
  unsigned long column_ = 0;  // of the next cell
  bool after_return_ = false;
  bool has_quotes_ = false;  // cells may hold line ends
  bool enough_ = false;
  std::exception_ptr failure_;  // of the visitor, kept from passing through C
};

}  // namespace orvprep
