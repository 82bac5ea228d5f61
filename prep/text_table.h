// A delimited file loaded by all cores, every cell as a text: what its columns are is then found
// out from their distinct texts, and the typed table is made of their codes. Files that need more
// than to be cut at separators and line ends are not taken: they are read cell by cell.
#pragma once

#include <cstdint>
#include <memory>
#include <string>
#include <vector>

#include "column_profile.h"
#include "layout.h"
#include "orvik/table.h"
#include "plan.h"
#include "source.h"

namespace orvprep {

class text_table {
 public:
  /// Null for a file with comments, empty lines, quotes around more than plain texts, control
  /// characters or rows of different lengths, for blanks as separators, and where the last column
  /// is constant. Throws what reading throws.
  static std::unique_ptr<text_table> of(source& in, const layout& form);

  unsigned long n_rows() const { return texts_->get_no_rows(); }
  /// Adds all cells of every column, as a pass over the file does.
  void profile(std::vector<column_profile>& profiles) const;
  /// The rows of known class by the plan, whose out_separator is no text; `n_dropped` receives the
  /// number of the others.
  std::unique_ptr<orvik::table> typed(const std::string& name, const table_plan& plan,
                                      unsigned long& n_dropped) const;

 private:
  text_table(std::unique_ptr<orvik::table> texts, unsigned long first_line)
      : texts_(std::move(texts)), first_line_(first_line) {}

  std::vector<std::uint32_t> codes_of(unsigned long column) const;

  std::unique_ptr<orvik::table> texts_;
  unsigned long first_line_;  // of the first row
};

}  // namespace orvprep
