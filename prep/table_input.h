// A delimited file that was looked through: its layout and what its columns hold.
#pragma once

#include <functional>
#include <string>
#include <vector>

#include "column_profile.h"
#include "csv_rows.h"
#include "layout.h"
#include "source.h"
#include "text_table.h"

namespace orvprep {

/// Checks the number of cells and passes over the header; the rest is for those derived.
/// Throws file_error for a row of another number of cells.
class body_rows : public row_visitor {
 public:
  body_rows(const std::string& file, const layout& form) : file_(file), form_(form) {}

  void cell(unsigned long column, std::string_view text, unsigned long line) final;
  bool end_of_row(unsigned long n, unsigned long line) final;

  /// Rows below the header so far.
  unsigned long n_rows() const { return rows_ - (form_.has_header && rows_ > 0 ? 1 : 0); }

 protected:
  virtual void take(unsigned long column, std::string_view text, unsigned long line) = 0;
  virtual void end(unsigned long line) = 0;
  const std::string& file() const { return file_; }

 private:
  bool in_header() const { return form_.has_header && rows_ == 0; }

  const std::string& file_;
  const layout& form_;
  unsigned long rows_ = 0;
  bool begins_as_comment_ = false, has_more_ = false;
};

/// Columns chosen by the names of all.
using chosen_columns = std::function<std::vector<unsigned long>(const std::vector<std::string>&)>;

/// How a file is to be read.
struct input_wishes {
  layout_wishes layout;
  encoding encoded = encoding::find_out;
  chosen_columns texts;  ///< that may not be read as numbers at once; without it none may
};

class table_input {
 public:
  /// One pass over the file; a second one where it turns out not to be UTF-8. Profiles are
  /// finished, not settled. `kept` gives by the names of the columns those of which all texts are
  /// kept. `rules` must outlive this. Throws std::runtime_error, naming the file.
  table_input(const std::string& name, const input_wishes& wishes, const cell_rules& rules,
              const chosen_columns& kept);

  const std::string& name() const { return bytes_.name(); }
  const source& bytes() const { return bytes_; }
  const layout& form() const { return form_; }
  std::vector<column_profile>& profiles() { return profiles_; }
  const std::vector<column_profile>& profiles() const { return profiles_; }

  /// All cells, where the file is so plain that they were loaded; else null.
  const text_table* texts() const { return texts_.get(); }

  /// One more pass.
  void read(row_visitor& visit);

 private:
  void look_through(const input_wishes& wishes, const cell_rules& rules,
                    const chosen_columns& kept);
  unsigned long profile_cells(const cell_rules& rules, const std::vector<unsigned long>& kept);
  bool add_open_columns(std::vector<bool>& as_texts) const;

  source bytes_;
  layout form_;
  std::vector<column_profile> profiles_;
  std::unique_ptr<text_table> texts_;
};

}  // namespace orvprep
