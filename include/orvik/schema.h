// Reading what a table holds: its columns, their roles and their values.
//
// Views are copied like pointers and own nothing: they are valid as long as the table or the model
// they are of, which must not be loaded, rescaled, built or pruned meanwhile. Any number of threads
// may use them at a time.
#pragma once

#include <string>
#include <vector>

#include "orvik/codes.h"
#include "orvik/enums.h"
#include "orvik/export.h"

namespace orvik {

namespace impls {
class column;
class table;
}  // namespace impls

/// One column. The values of a table have their codes once its rows are loaded, those of a model
/// always.
///
/// A value is written in one of two ways: printed, as the text reports have it (numbers with six
/// decimals), or exact, as the shortest text that reads back to the same value of the column's
/// type.
class ORVIK_EXPORT column_view {
 public:
  /// For the library's own use.
  column_view(const impls::column& column, unsigned long index) : column_(&column), index_(index) {}

  /// Its place among the columns, from 0.
  unsigned long index() const { return index_; }
  const std::string& name() const;
  model::column_role role() const;
  /// As metadata files have them; ordered texts are "ostring", whatever their values.
  std::string role_name() const;
  std::string type() const;
  bool is_numeric() const;
  /// Texts in an order that the metadata declares.
  bool is_ordered() const;
  /// Whether the models tell cases apart by it: an attribute that is not ignored.
  bool is_input() const;
  /// Whether documents list its values: classes, categories, ordered texts.
  bool lists_values() const;
  /// Whether its values are of the same type, and ordered ones of the same values, as another's.
  bool has_type_of(const column_view& other) const;

  /// Number of known values; their codes are 1 .. n_values().
  unsigned long n_values() const;
  /// The text of the unknown value.
  const std::string& unknown_text() const;
  /// The code that predictions take for an unknown cell: k_unknown, or that of the value that
  /// table::own_unknowns() made of it.
  code_t code_of_unknown() const;
  // Of code 0 these are the unknown value. They throw std::runtime_error for a code above
  // n_values(), and number() in a column without numbers and for code 0.
  std::string printed(code_t code) const;
  std::string exact(code_t code) const;
  double number(code_t code) const;

  /// The code that predictions take for a text: of a number that a continuous column does not have
  /// that of the next larger one or, above all, n_values() + 1; of any other text that the column
  /// does not have code_of_unknown(). O(log n_values()). Throws std::runtime_error for a text that
  /// is no value of the column's type.
  code_t code_of(const std::string& text) const;
  /// The code in a row; k_unknown in a column that stores nothing and in a row that there is not.
  code_t code_in(row_t row) const;

 private:
  const impls::column* column_;
  unsigned long index_;
};

/// All columns. Attributes are those that are neither the class nor the weights; they are numbered
/// on their own.
class ORVIK_EXPORT schema_view {
 public:
  /// For the library's own use.
  explicit schema_view(const impls::table& table) : table_(&table) {}

  unsigned long n_columns() const;
  unsigned long n_attributes() const;
  // Throw std::runtime_error for a column or an attribute that there is not.
  column_view column(unsigned long i) const;
  column_view attribute(unsigned long a) const;
  /// Throws std::runtime_error in a table without a class, as n_class_codes() does.
  column_view class_column() const;
  /// Number of class codes, the unknown one included.
  unsigned long n_class_codes() const;
  /// Writes the codes of a row by attribute, n_attributes() of them. Throws std::runtime_error for
  /// a row that there is not.
  void codes_in(row_t row, code_t* codes) const;
  bool has_weights() const;
  /// The column of the case weights; n_columns() without.
  unsigned long weights_index() const;
  /// The names of the columns, made different: a second column of one name has " #" and its number,
  /// counted from 1, behind it.
  std::vector<std::string> unique_names() const;

 private:
  const impls::table* table_;
};

}  // namespace orvik
