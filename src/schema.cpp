#include "orvik/schema.h"

#include <stdexcept>

#include "impls/evaluation/row_coder.h"
#include "impls/rendering/description.h"
#include "impls/tables/table.h"

namespace orvik {

namespace {

/// `i`, where there are more than that.
unsigned long below(unsigned long n, unsigned long i, const char* what) {
  if (i < n) return i;
  throw std::runtime_error("there is no " + (what + (' ' + std::to_string(i))) + " among " +
                           std::to_string(n));
}

}  // namespace

const std::string& column_view::name() const { return column_->name(); }
model::column_role column_view::role() const { return column_->type(); }
std::string column_view::role_name() const { return column_->get_type(); }
std::string column_view::type() const { return impls::type_name(*column_); }
bool column_view::is_numeric() const { return column_->values()->is_numeric(); }
bool column_view::is_ordered() const { return column_->values()->is_ordered(); }
bool column_view::is_input() const { return impls::is_input(*column_); }
bool column_view::lists_values() const { return impls::lists_values(*column_); }

bool column_view::has_type_of(const column_view& other) const {
  return column_->values()->type() == other.column_->values()->type();
}

unsigned long column_view::n_values() const { return column_->values()->size_of_known(); }
const std::string& column_view::unknown_text() const { return column_->values()->null_value(); }
std::string column_view::printed(code_t code) const { return column_->values()->get_value(code); }
std::string column_view::exact(code_t code) const {
  return column_->values()->get_exact_value(code);
}
double column_view::number(code_t code) const {
  return column_->values()->get_value_as_double(code);
}

code_t column_view::code_of(const std::string& text) const {
  const code_t code = impls::code_of_text(*column_, text, unknown_text());
  return code == impls::k_no_code ? code_of_unknown() : code;
}

code_t column_view::code_of_unknown() const { return column_->values()->code_of_null(); }

code_t column_view::code_in(row_t row) const {
  return row < column_->size() ? column_->get_row_index(row) : k_unknown;
}

unsigned long schema_view::n_columns() const { return table_->n_columns(); }
unsigned long schema_view::n_attributes() const { return table_->n_attributes(); }

column_view schema_view::column(unsigned long i) const {
  return {table_->get_column(below(n_columns(), i, "column")), i};
}

column_view schema_view::attribute(unsigned long a) const {
  return column(table_->column_index_of(below(n_attributes(), a, "attribute")));
}

column_view schema_view::class_column() const {
  return {table_->class_column(), table_->class_index()};
}

void schema_view::codes_in(row_t row, code_t* codes) const {
  table_->check_row(row);
  for (unsigned long a = 0; a < table_->n_attributes(); ++a) {
    codes[a] = table_->column_of(a).get_row_index(row);
  }
}

unsigned long schema_view::n_class_codes() const { return table_->n_class_codes(); }
bool schema_view::has_weights() const { return table_->has_weights(); }
unsigned long schema_view::weights_index() const { return table_->weights_index(); }
std::vector<std::string> schema_view::unique_names() const { return impls::unique_names(*table_); }

}  // namespace orvik
