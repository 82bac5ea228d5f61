// What the forms call things: the names and texts of a model, and how a language quotes them.
#pragma once

#include <string>
#include <string_view>
#include <vector>

#include "orvik/dtree.h"

namespace orvik::view {

/// Texts of a model in UTF-8, whatever encoding the model has them in.
class wording {
 public:
  /// The model must outlive this.
  explicit wording(const orvik::dtree& model);

  /// Of the model: "UTF-8" or "ISO-8859-1".
  const std::string& encoding() const { return encoding_; }
  std::string utf8(const std::string& raw) const;
  /// The name of a column of the table; a second one of a name has " #" and its number behind it.
  const std::string& column_name(unsigned long i) const { return names_[i]; }
  /// Of the model: without the folder of the file that it may be named after.
  const std::string& model_name() const { return model_name_; }
  /// The printed class of a code, as scores have it.
  std::string class_name(orvik::code_t code) const;

 private:
  orvik::column_view classes_;
  std::string encoding_, model_name_;
  std::vector<std::string> names_;  // by column
};

// `text` as a literal, quotes included. In C++ any bytes, in the others UTF-8. What is not
// printable ASCII is escaped in the first two, so that no text can end or hide a line of code.

std::string cpp_literal(std::string_view text);
std::string python_literal(const std::string& text);
/// A string of SQL, and with '"' a name.
std::string sql_literal(std::string_view text, char quote = '\'');
/// A field of RFC 4180, in quotes where it needs them.
std::string csv_field(const std::string& text);
/// Text or attribute value of XML; characters that XML cannot hold become U+FFFD.
std::string xml_text(const std::string& utf8);

/// For terminals and plain text: characters that would steer a terminal or turn the direction of
/// what follows become "?".
std::string shown_text(const std::string& utf8);

/// The columns of a terminal that text takes: two for wide characters, none for marks.
unsigned long columns_of(const std::string& utf8);
/// The text, or what of it fits in `columns` with "…" behind.
std::string shortened(const std::string& utf8, unsigned long columns);

/// The characters of UTF-8 text.
std::vector<char32_t> characters_of(const std::string& utf8);
std::string utf8_of(char32_t character);

}  // namespace orvik::view
