// A delimited file into a table in memory.
#pragma once

#include <memory>
#include <string>
#include <vector>

#include "conversion.h"
#include "csv_rows.h"
#include "layout.h"
#include "orvik/table.h"
#include "plan.h"
#include "source.h"

namespace orvprep {

/// Receives the rows below the header, and refuses those of another length than the layout's.
class body_visitor : public row_visitor {
 public:
  body_visitor(const std::string& file, const layout& form) : file_(file), form_(form) {}

  void cell(unsigned long column, std::string_view text, unsigned long line) final {
    if (!in_header() && column < form_.names.size()) take(column, text, line);
  }
  bool end_of_row(unsigned long n, unsigned long line) final;
  /// Rows below the header so far.
  unsigned long n_rows() const { return rows_ - (form_.has_header && rows_ > 0 ? 1 : 0); }

 protected:
  virtual void take(unsigned long column, std::string_view text, unsigned long line) = 0;
  virtual void end(unsigned long line) = 0;

 private:
  bool in_header() const { return form_.has_header && rows_ == 0; }

  const std::string& file_;
  const layout& form_;
  unsigned long rows_ = 0;
};

/// A file that was looked through, and what becomes of its columns.
class intake {
 public:
  /// Of `how` only what is said of the input counts. Throws std::runtime_error with file, line and
  /// column.
  explicit intake(const settings& how);
  ~intake();

  const layout& form() const { return form_; }
  const std::vector<column_profile>& profiles() const { return profiles_; }
  const std::vector<column_plan>& plans() const { return plans_; }
  unsigned long n_rows() const { return n_rows_; }

  /// The rows as a table with a column for every plan. Rows of unknown class are left out.
  std::unique_ptr<orvik::table> load(const std::string& name);
  /// How many load() left out.
  unsigned long n_dropped() const { return n_dropped_; }

 private:
  settings how_;
  source bytes_;
  layout form_;
  csv_rows rows_;
  std::vector<column_profile> profiles_;
  std::vector<column_plan> plans_;
  unsigned long n_rows_ = 0, n_dropped_ = 0;
};

/// What separates the cells of tables in memory: it is in no text that people write.
inline constexpr char k_inner_separator = '\x1f';

/// A table of metadata and rows with k_inner_separator between their cells, "?" for unknown ones.
class table_text {
 public:
  table_text();
  ~table_text();
  void add_column(const std::string& name, const std::string& type, const std::string& role);
  /// The cell behind those of the row in progress.
  void add_cell(std::string_view text);
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

}  // namespace orvprep
