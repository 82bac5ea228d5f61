// Unknown cells as a value of their own, for attributes where it says something that a cell is
// unknown.
//
// The value is a text, so numbers go without: their other spellings ("3", "3.0") are to stay one.
#include <stdexcept>
#include <string>

#include "impls/tables/table.h"

namespace orvik::impls {

namespace {

/// Of ordered texts it is the last.
std::string type_with_unknown(const o_set& values) {
  if (!values.is_ordered()) return values.type();
  std::string type = "ostring;";
  for (code_t code = 1; code <= values.size_of_known(); ++code)
    type += values.get_value(code) + ';';
  return type + values.null_value();
}

/// A frozen set of the values and the unknown one.
std::unique_ptr<o_set> values_with_unknown(const o_set& values) {
  std::unique_ptr<o_set> own(o_set::NEW_O_SET(type_with_unknown(values), /*admits_null=*/false,
                                              values.null_value(), /*owns_null=*/true));
  for (code_t code = 0; code <= values.size_of_known(); ++code) {
    own->insert(values.get_exact_value(code).c_str());
  }
  own->freeze();
  return own;
}

std::unique_ptr<column> with_own_unknown(const column& c) {
  std::unique_ptr<o_set> own = values_with_unknown(*c.values());
  std::vector<code_t> own_codes;
  for (code_t code = 0; code <= c.values()->size_of_known(); ++code) {
    own->get_order(c.values()->get_exact_value(code).c_str(), own_codes.emplace_back());
  }
  std::unique_ptr<column> made = column::over(std::move(own), c.name(), c.get_type());
  std::vector<code_t> codes;
  codes.reserve(c.size());
  visit_codes(c.codes(), [&](const auto& of_row) {
    for (row_t row = 0; row < c.size(); ++row) codes.push_back(own_codes[of_row[row]]);
  });
  made->append(codes);
  return made;
}

}  // namespace

void table::own_unknowns() {
  for (const unsigned long i : attribute_columns_) {
    std::unique_ptr<column>& c = columns_[i];
    const bool is_text = c->type() == column::DISCRETE && !c->values()->is_numeric();
    if (is_text && c->values()->has_null()) c = with_own_unknown(*c);
  }
}

}  // namespace orvik::impls
