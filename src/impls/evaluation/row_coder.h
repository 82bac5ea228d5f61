// Rows of text into codes, to be classified by a model of another table.
//
// A row may hold values that the model's table does not. A number between two known ones takes
// the code of the larger, one above all known ones the code past the last: "value <= threshold"
// then holds for the codes exactly where it holds for the values. Any other value that the set
// does not hold is refused, or taken as unknown and counted.
#pragma once

#include <cstdint>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include "impls/tables/table.h"
#include "impls/values/cell_batch.h"
#include "impls/values/text_codes.h"
#include "zel/text/text_word.h"

namespace orvik::impls {

/// Names of columns, each with the number of its values that were taken as unknown.
using unseen_values = std::vector<std::pair<std::string, unsigned long>>;

/// The code of `text` in the (frozen) value set of `c`, that of an unknown cell for the column's
/// own unknown value and for `missing`; k_no_code where the set does not hold it and the column has
/// no numeric order. Throws std::runtime_error for a text that is no value of the set's type.
code_t code_of_text(const column& c, const std::string& text, const std::string& missing);

/// "value V for column N not admitted", of V the first 200 bytes, control bytes shown as "?".
std::string not_admitted(std::string_view value, const std::string& column);

/// The codes of one column's fields. Each of the first few thousand distinct texts is looked up
/// once. Threads: one.
class field_codes {
 public:
  /// `c` and `missing` must outlive this. At most `limit` texts are remembered.
  field_codes(const column& c, const std::string& missing, unsigned long limit)
      : column_(c), missing_(missing), limit_(limit) {}

  /// As code_of_text().
  code_t code_of(std::string_view text) {
    const text_codes::code known = texts_.find(text);
    return known != 0 ? codes_[known - 1] : look_up(text);
  }
  /// The same for the cell of a row.
  code_t code_of(const cell_batch& cells, std::size_t row) {
    const cell& c = cells.at(row);
    if (c.length > zel::text::k_word_text) return code_of(cells[row]);
    const text_codes::code known =
        texts_.find_word(zel::text::word_at(cells.text + c.begin, c.length), c.length);
    return known != 0 ? codes_[known - 1] : look_up(cells[row]);
  }
  /// Of a cell that is unknown, or counts as it.
  code_t code_of_unknown() const { return column_.values()->code_of_null(); }
  /// Whether there are more distinct texts than are remembered.
  bool forgets() const { return forgets_; }

 private:
  code_t look_up(std::string_view text);

  const column& column_;
  const std::string& missing_;
  unsigned long limit_;
  bool forgets_ = false;
  text_codes texts_;
  std::vector<code_t> codes_;  // by text code - 1
  std::string scratch_;
};

/// Reads rows one after the other; the latest one is kept. Errors are std::runtime_error: the
/// reason and the column, without the row's number.
/// Threads: one. No allocation for a row, once the memory of distinct texts is full.
class row_coder {
 public:
  struct rules {
    std::string missing;        // the unknown value, beside each column's own
    bool admit_unseen = false;  // take values that a set does not hold as unknown
  };

  /// `t`, whose codes fit in 32 bits, must outlive this.
  row_coder(const table& t, rules how);

  /// A row with every column, its class a known one unless unseen values are admitted.
  void read_test_row(std::string_view line, char separator);
  /// A row with every column, or all but the class, or all but class and weight. Neither of the
  /// two is looked at. A separator at the end of a row that lacks columns opens an empty field.
  void read_score_row(std::string_view line, char separator);

  enum class use : unsigned char { SKIP, ATTRIBUTE, CLASS, WEIGHT };
  struct field {
    use as;
    unsigned long column;
    unsigned long attribute;
  };
  /// What the fields of a row are.
  using form = std::vector<field>;

  /// The form of a row to test or to score; null where it has none. Valid as long as this.
  const form* form_of(std::string_view line, char separator, bool is_scored);
  /// Codes of the cells of a column that is looked up, the class or an attribute, as reading its
  /// rows one by one gives them: at codes[row * stride]. @return false where that refuses one.
  template <class Code>
  bool look_up(const field& f, const cell_batch& cells, Code* codes, std::size_t stride);
  /// Whether a column has more distinct texts than are remembered.
  bool forgets(const field& f) const { return columns_[f.column].forgets(); }
  /// Weights of test rows; false where one is refused.
  bool read_weights(const cell_batch& cells, double* weights) const;

  /// By attribute; 0 in ignored columns.
  const std::vector<std::uint32_t>& codes() const { return codes_; }
  // Of a test row.
  code_t class_code() const { return class_code_; }
  double weight() const { return weight_; }

  const rules& how() const { return rules_; }
  /// Number of values taken as unknown, by column of the table.
  const std::vector<unsigned long>& unseen() const { return unseen_; }
  void set_unseen(const std::vector<unsigned long>& counts) { unseen_ = counts; }

 private:
  form test_form() const;
  form score_form(bool with_class, bool with_weight) const;
  void split(std::string_view line, char separator);
  const form* score_form_of_fields() const;
  void split_score_row(std::string_view line, char separator);
  void read(const form& f, std::string_view line);
  code_t known_code(unsigned long column, std::string_view text, bool admits_null);

  const table& table_;
  rules rules_;
  form test_form_;
  std::vector<form> score_forms_;
  std::vector<field_codes> columns_;
  std::vector<std::string_view> fields_;
  std::vector<std::uint32_t> codes_;
  code_t class_code_ = k_unknown;
  double weight_ = 1.0;
  std::vector<unsigned long> unseen_;
};

}  // namespace orvik::impls
