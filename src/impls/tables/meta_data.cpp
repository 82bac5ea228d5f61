// The schema of a table from text: one line a column, three fields a line.
#include <stdexcept>

#include "impls/tables/field_split.h"
#include "impls/tables/table.h"

namespace orvik::impls {

namespace {

constexpr char k_no_stream[] = "Reading metadata: no data provider detected.";

std::unique_ptr<column> make_column(const std::string& name, std::string type,
                                    const std::string& role, const std::string& missing_value) {
  const bool weights = role == "weights";
  if (weights) type = "double";  // whatever the line says
  std::unique_ptr<o_set> values(o_set::NEW_O_SET(type, column::admits_null(role), missing_value));
  if (weights) values->forbid_negative();
  std::string error;
  std::unique_ptr<column> made(column::NEW_COLUMN(values.get(), name, role, error));
  if (!made) throw std::runtime_error(error);
  static_cast<void>(values.release());  // the column has it now
  return made;
}

}  // namespace

void table::load_meta_data(zel::inpout::stream* in, const std::string& missing_value) {
  if (in == nullptr) throw std::runtime_error(k_no_stream);
  std::vector<std::unique_ptr<column>> columns;
  std::vector<std::string_view> fields;
  while (in->read_line()) {
    const std::string_view line(in->line(), in->line_length());
    split_fields(line, in->separator(), /*trim=*/false, fields);
    if (fields.size() != 3 || holds_nul(line)) {
      throw std::runtime_error("Reading metadata: " + bad_row_message(columns.size() + 1, line));
    }
    columns.push_back(make_column(std::string(fields[0]), std::string(fields[1]),
                                  std::string(fields[2]), missing_value));
  }
  adopt_columns(std::move(columns));
}

}  // namespace orvik::impls
