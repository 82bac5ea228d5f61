// The rows of a file whose lines are rows, to be loaded by all cores: blocks of lines, in which
// quotes stand around whole cells and hold no line ends. Files that need more are read cell by
// cell.
#pragma once

#include <atomic>
#include <string>
#include <string_view>

#include "cell_rules.h"
#include "layout.h"
#include "orvik/raw_table.h"
#include "source.h"

namespace orvprep {

class plain_text : public orvik::row_text {
 public:
  /// All must outlive this.
  plain_text(source& in, const layout& form, const cell_rules& rules)
      : in_(in), form_(form), rules_(rules) {}

  void rewind() override;
  bool next(std::string& block) override;
  /// Refuses control characters, empty lines, and quotes that do not fit. Cells in quotes may hold
  /// separators: they are parted by k_inner_separator then.
  bool prepare(std::string& block, char& separator) const override;
  /// A number as the table writes it, without doubt: see read_plain().
  cell_kind read(std::string_view cell, double& value, unsigned& marks) const override;

 private:
  void add_text(std::string& block);
  void drop_header(std::string& block);

  source& in_;
  const layout& form_;
  const cell_rules& rules_;
  std::string held_;  // behind the last line end that was read
  bool in_header_ = false, ended_ = false;
  std::atomic<bool> refused_ = false;
};

/// The lines, each of which ends with a line feed, without their quotes and with `inner` between
/// their cells, which do not hold it; empty where a quote does not stand around a whole cell, and
/// where quotes hold a line end or a tab.
std::string unquoted(std::string_view lines, char separator, char inner);

}  // namespace orvprep
