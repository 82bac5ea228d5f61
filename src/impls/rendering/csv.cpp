// Rows of a table as comma-separated text.
#include "impls/tables/table.h"

namespace orvik::impls {

void table::toCSV(std::ostream& out, const case_list& cases, bool header) const {
  const auto write_line = [&](auto&& text_of) {
    for (unsigned long i = 0; i < n_columns(); ++i) {
      if (i > 0) out << ',';
      out << text_of(get_column(i));
    }
    out << '\n';
  };
  check_rows(cases);
  if (header) write_line([](const column& c) -> const std::string& { return c.name(); });
  for (const auto& [row, weight] : cases) {
    write_line([at = row](const column& c) { return c.values()->get_value(c.get_row_index(at)); });
  }
}

}  // namespace orvik::impls
