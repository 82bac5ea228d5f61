#include "impls/evaluation/row_coder.h"

#include <algorithm>
#include <stdexcept>

#include "zel/text/decimal.h"
#include "zel/text/field_split.h"
#include "zel/text/message.h"

namespace orvik::impls {

namespace {

constexpr char k_bad_row[] = "bad row format: ";
constexpr char k_not_a_double[] = ": not a double";
constexpr char k_negative[] = ": negative value in a column of weights";

// What a worker remembers: few texts where there are many columns, and no long ones.
constexpr unsigned long k_remembered_texts = 1UL << 16;
constexpr unsigned long k_most_texts = 4096;
constexpr unsigned long k_fewest_texts = 64;
constexpr std::size_t k_longest_text = 64;

std::string in_column(const std::string& column) { return " (column " + column + ")"; }

/// A case weight as it stands: files to test are not rescaled.
double weight_of(std::string_view text, const std::string& column) {
  const std::optional<double> weight = zel::text::parse_decimal<double>(text);
  if (weight && *weight >= 0) return *weight;
  throw std::runtime_error(zel::text::quoted(text) + (weight ? k_negative : k_not_a_double) +
                           in_column(column));
}

}  // namespace

std::string not_admitted(std::string_view value, const std::string& column) {
  return "value " + zel::text::quoted(value) + " for column " + column + " not admitted";
}

code_t code_of_text(const column& c, const std::string& text, const std::string& missing) {
  const o_set& values = *c.values();
  if (text == missing || text == values.null_value()) return values.code_of_null();
  try {
    code_t code;
    if (values.get_order(text.c_str(), code)) return code;
    // The set names the largest smaller value.
    return c.type() == column::CONTINUOUS && values.is_numeric() ? code + 1 : k_no_code;
  } catch (const std::runtime_error& failure) {
    throw std::runtime_error(failure.what() + in_column(c.name()));
  }
}

code_t field_codes::look_up(std::string_view text) {
  scratch_.assign(text);
  const code_t code = code_of_text(column_, scratch_, missing_);
  if (texts_.size() < limit_ && text.size() <= k_longest_text) {
    texts_.insert(text);
    codes_.push_back(code);
  } else {
    forgets_ = true;
  }
  return code;
}

row_coder::row_coder(const table& t, rules how)
    : table_(t),
      rules_(std::move(how)),
      test_form_(test_form()),
      codes_(t.n_attributes(), k_unknown),
      unseen_(t.n_columns()) {
  score_forms_ = {score_form(true, true), score_form(false, true)};
  if (t.has_weights()) score_forms_.push_back(score_form(false, false));
  const unsigned long limit =
      std::clamp(k_remembered_texts / t.n_columns(), k_fewest_texts, k_most_texts);
  columns_.reserve(t.n_columns());
  for (unsigned long i = 0; i < t.n_columns(); ++i) {
    columns_.emplace_back(t.get_column(i), rules_.missing, limit);
  }
}

row_coder::form row_coder::test_form() const {
  form fields(table_.n_columns(), field{use::SKIP, 0, 0});
  for (unsigned long a = 0; a < table_.n_attributes(); ++a) {
    const unsigned long i = table_.column_index_of(a);
    if (table_.get_column(i).type() != column::IGNORE) fields[i] = {use::ATTRIBUTE, i, a};
  }
  fields[table_.class_index()] = {use::CLASS, table_.class_index(), 0};
  if (table_.has_weights()) {
    fields[table_.weights_index()] = {use::WEIGHT, table_.weights_index(), 0};
  }
  return fields;
}

row_coder::form row_coder::score_form(bool with_class, bool with_weight) const {
  form fields;
  for (const field& f : test_form_) {
    if (f.as == use::CLASS ? with_class : f.as != use::WEIGHT || with_weight) fields.push_back(f);
    if (!fields.empty() && fields.back().as != use::ATTRIBUTE) fields.back().as = use::SKIP;
  }
  return fields;
}

void row_coder::split(std::string_view line, char separator) {
  zel::text::split_fields(line, separator, /*trim=*/true, fields_);
  if (zel::text::holds_nul(line) || (line.empty() && table_.n_columns() != 1)) fields_.clear();
}

void row_coder::read_test_row(std::string_view line, char separator) {
  split(line, separator);
  read(test_form_, line);
}

void row_coder::split_score_row(std::string_view line, char separator) {
  split(line, separator);
  // Without this a row that ends in an empty value would pass for one without its class, and
  // every value would be taken for that of the next column.
  if (!fields_.empty() && fields_.size() < table_.n_columns() && separator != ' ' &&
      line.ends_with(separator)) {
    fields_.emplace_back();
  }
}

void row_coder::read_score_row(std::string_view line, char separator) {
  split_score_row(line, separator);
  const form* const f = score_form_of_fields();
  read(f == nullptr ? score_forms_[0] : *f, line);
}

const row_coder::form* row_coder::score_form_of_fields() const {
  const auto fits = [this](const form& f) { return f.size() == fields_.size(); };
  const auto f = std::ranges::find_if(score_forms_, fits);
  return f == score_forms_.end() ? nullptr : &*f;
}

const row_coder::form* row_coder::form_of(std::string_view line, char separator, bool is_scored) {
  if (is_scored) {
    split_score_row(line, separator);
    return score_form_of_fields();
  }
  split(line, separator);
  return fields_.size() == test_form_.size() ? &test_form_ : nullptr;
}

void row_coder::read(const form& f, std::string_view line) {
  if (fields_.size() != f.size() || fields_.empty()) {
    throw std::runtime_error(k_bad_row + zel::text::quoted(line));
  }
  for (std::size_t i = 0; i < f.size(); ++i) {
    switch (f[i].as) {
      case use::SKIP:
        break;
      case use::ATTRIBUTE:
        codes_[f[i].attribute] =
            static_cast<std::uint32_t>(known_code(f[i].column, fields_[i], /*admits_null=*/true));
        break;
      case use::CLASS:
        class_code_ = known_code(f[i].column, fields_[i], /*admits_null=*/false);
        break;
      case use::WEIGHT:
        weight_ = weight_of(fields_[i], table_.get_column(f[i].column).name());
        break;
    }
  }
}

/// The code of a field; a value without one is refused, or counted and taken as unknown.
code_t row_coder::known_code(unsigned long column, std::string_view text, bool admits_null) {
  const code_t code = columns_[column].code_of(text);
  if (code != k_no_code && (admits_null || code != k_unknown)) return code;
  if (!rules_.admit_unseen) {
    throw std::runtime_error(not_admitted(text, table_.get_column(column).name()));
  }
  ++unseen_[column];
  return columns_[column].code_of_unknown();
}

template <class Code>
bool row_coder::look_up(const field& f, const cell_batch& cells, Code* codes, std::size_t stride) {
  field_codes& known = columns_[f.column];
  const bool admits_null = f.as != use::CLASS;
  unsigned long unseen = 0;
  const code_t of_unknown = known.code_of_unknown();
  try {
    for (std::size_t row = 0; row < cells.rows; ++row, codes += stride) {
      const code_t code = known.code_of(cells, row);
      const bool is_seen = code != k_no_code && (admits_null || code != k_unknown);
      if (!is_seen && !rules_.admit_unseen) return false;
      unseen += !is_seen;
      *codes = static_cast<Code>(is_seen ? code : of_unknown);
    }
  } catch (const std::runtime_error&) {
    return false;
  }
  unseen_[f.column] += unseen;
  return true;
}

template bool row_coder::look_up(const field&, const cell_batch&, std::uint32_t*, std::size_t);
template bool row_coder::look_up(const field&, const cell_batch&, code_t*, std::size_t);

bool row_coder::read_weights(const cell_batch& cells, double* weights) const {
  for (std::size_t row = 0; row < cells.rows; ++row) {
    const std::optional<double> weight = zel::text::parse_decimal<double>(cells[row]);
    if (!weight || *weight < 0) return false;
    weights[row] = *weight;
  }
  return true;
}

}  // namespace orvik::impls
