// A delimited file loaded by all cores: what its columns are is found out from their distinct texts
// and from the numbers of those that hardly repeat one; the typed table is made of their codes.
// Files that need more than to be cut at separators and line ends are not taken: they are read cell
// by cell.
#pragma once

#include <memory>
#include <string>
#include <vector>

#include "column_profile.h"
#include "layout.h"
#include "orvik/raw_table.h"
#include "orvik/table.h"
#include "plan.h"
#include "source.h"

namespace orvprep {

class text_table {
 public:
  /// Columns of `as_texts` keep all their texts. Null for a file with comments, empty lines, quotes
  /// around more than a part of a line, control characters or rows of different lengths, and for
  /// blanks as separators. Throws what reading throws.
  static std::unique_ptr<text_table> of(source& in, const layout& form, const cell_rules& rules,
                                        const std::vector<bool>& as_texts);

  unsigned long n_rows() const { return rows_->n_rows(); }
  /// Whether the numbers of a column were taken without their texts.
  bool has_numbers(unsigned long column) const { return rows_->has_numbers(column); }
  /// Adds all cells of every column, as a pass over the file does.
  void profile(std::vector<column_profile>& profiles) const;
  /// The rows of known class by the plan, whose out_separator is no text; `n_dropped` receives the
  /// number of the others.
  std::unique_ptr<orvik::table> typed(const std::string& name, const table_plan& plan,
                                      unsigned long& n_dropped) const;

 private:
  text_table(std::unique_ptr<orvik::raw_table> rows, unsigned long first_line)
      : rows_(std::move(rows)), first_line_(first_line) {}

  std::unique_ptr<orvik::raw_table> rows_;
  unsigned long first_line_;  // of the first row
};

}  // namespace orvprep
