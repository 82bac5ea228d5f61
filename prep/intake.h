// A delimited file that was looked through and planned, and its rows as a table in memory.
#pragma once

#include <memory>
#include <string>

#include "conversion.h"
#include "orvik/table.h"
#include "plan.h"
#include "table_input.h"

namespace orvprep {

/// A file and what becomes of its columns, by its own cells.
struct planned_input {
  /// Of `how`, which must outlive this, only what is said of the input counts. Throws
  /// std::runtime_error with file, line and column.
  explicit planned_input(const settings& how);

  table_input in;
  table_plan plan;
};

/// What parts the cells of tables in memory: no text that is written has it.
inline constexpr char k_inner_separator = '\x1f';

/// A table of metadata and rows with k_inner_separator between their cells, "?" for unknown ones.
class table_text {
 public:
  table_text();
  ~table_text();
  void add_column(const std::string& name, const std::string& type, const std::string& role);
  /// Opens the cell behind those of the row in progress: what is appended to the text is in it.
  std::string& add_cell();
  void end_row();
  /// Leaves the row in progress out.
  void drop_row();
  /// Throws std::runtime_error as loading does, with `file` in front.
  std::unique_ptr<orvik::table> load(const std::string& name, const std::string& file);

 private:
  struct files;
  std::unique_ptr<files> files_;
  std::string rows_;
  std::size_t row_ = 0;  // where the row in progress begins
  bool in_row_ = false;
};

/// The rows as a table with a column for every one of the plan, whose out_separator is
/// k_inner_separator; `n_dropped` receives the number of rows of unknown class, which are left out.
std::unique_ptr<orvik::table> load_rows(planned_input& from, const std::string& name,
                                        unsigned long& n_dropped);

}  // namespace orvprep
