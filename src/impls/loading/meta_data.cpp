// The schema of a table from text: one line a column, three fields a line.
#include <stdexcept>

#include "impls/loading/new_column.h"
#include "impls/tables/table.h"
#include "zel/text/field_split.h"
#include "zel/text/message.h"

namespace orvik::impls {

namespace {

constexpr char k_no_metadata[] = "Reading metadata: no data provider detected.";
constexpr char k_has_columns[] = "Reading metadata: the table has its columns already";

}  // namespace

std::unique_ptr<column> make_column(const std::string& name, std::string type,
                                    const std::string& role, const std::string& missing_value) {
  const bool weights = role == "weights";
  if (weights) type = "double";  // whatever the line says
  std::unique_ptr<o_set> values(o_set::NEW_O_SET(type, column::admits_null(role), missing_value));
  if (weights) values->forbid_negative();
  return column::over(std::move(values), name, role);
}

void table::load_meta_data(zel::inpout::stream* in, const std::string& missing_value) {
  if (in == nullptr) throw std::runtime_error(k_no_metadata);
  if (!columns_.empty()) throw std::runtime_error(k_has_columns);
  std::vector<std::unique_ptr<column>> columns;
  std::vector<std::string_view> fields;
  while (in->read_line()) {
    const std::string_view line(in->line(), in->line_length());
    // As in data: runs of blanks are one separator.
    zel::text::split_fields(line, in->separator(), /*trim=*/in->separator() == ' ', fields);
    if (fields.size() != 3 || zel::text::holds_nul(line)) {
      throw std::runtime_error("Reading metadata: " +
                               zel::text::bad_row_message(columns.size() + 1, line));
    }
    columns.push_back(make_column(std::string(fields[0]), std::string(fields[1]),
                                  std::string(fields[2]), missing_value));
  }
  adopt_columns(std::move(columns));
  takes_rows_ = true;
}

/// A table of the same columns as its metadata made them.
std::unique_ptr<table> table::without_values() const {
  std::vector<std::unique_ptr<column>> columns;
  for (const auto& c : columns_) {
    columns.push_back(
        make_column(c->name(), c->values()->type(), c->get_type(), c->values()->null_value()));
  }
  auto made = std::make_unique<table>(name_, class_checked_);
  made->adopt_columns(std::move(columns));
  return made;
}

}  // namespace orvik::impls
