#include "impls/evaluation/batch_coder.h"

#include <algorithm>
#include <stdexcept>

#include "zel/inpout/lines.h"

namespace orvik::impls {

coded_columns::coded_columns(const table& t, const std::vector<std::vector<code_t>>& limits)
    : numbers(t.n_attributes()) {
  for (unsigned long a = 0; a < t.n_attributes(); ++a) {
    const column& c = t.column_of(a);
    if (c.type() == column::CONTINUOUS) numbers[a] = c.values()->limits_at(limits[a]);
  }
}

std::optional<std::string> batch_coder::take(std::string_view text, rows what, char separator) {
  resize(0);
  text = take_batches(text, what, separator);
  while (!text.empty()) {
    try {
      const std::string_view line = zel::inpout::take_line(text);
      what == rows::TEST ? coder_.read_test_row(line, separator)
                         : coder_.read_score_row(line, separator);
    } catch (const std::runtime_error& failure) {
      return failure.what();
    }
    resize(n_rows_ + 1);
    std::ranges::copy(coder_.codes(), codes_.end() - static_cast<long>(coder_.codes().size()));
    classes_.back() = coder_.class_code();
    weights_.back() = coder_.weight();
  }
  return std::nullopt;
}

void batch_coder::resize(std::size_t n) {
  n_rows_ = n;
  codes_.resize(n * table_.n_attributes());
  classes_.resize(n);
  weights_.resize(n, 1.0);
}

/// Rows of the form of the first one. @return what is left of the text.
std::string_view batch_coder::take_batches(std::string_view text, rows what, char separator) {
  if (text.empty() || separator == '\r' || separator == '\n') return text;
  std::string_view rest = text;
  const bool scored = what == rows::SCORE;
  const row_coder::form* const form =
      coder_.form_of(zel::inpout::take_line(rest), separator, scored);
  if (form == nullptr) return text;
  if (!splitter_ || n_fields_ != form->size()) {
    // In a score row that lacks columns a last separator opens one: not the form looked for.
    n_fields_ = form->size();
    splitter_.emplace(separator, n_fields_, scored && n_fields_ < table_.n_columns());
  }
  for (splitter_->start(text);;) {
    rest = splitter_->rest();
    const std::size_t n = splitter_->next();
    if (n == 0 || !take_batch(*form, n)) return rest;
  }
}

/// The rows of the splitter's batch. @return whether all are good; none is taken otherwise.
bool batch_coder::take_batch(const row_coder::form& form, std::size_t n) {
  const std::size_t before = n_rows_;
  unseen_before_ = coder_.unseen();
  resize(before + n);
  for (std::size_t i = 0; i < form.size(); ++i) {
    if (code_column(form[i], splitter_->column(i), before)) continue;
    resize(before);
    coder_.set_unseen(unseen_before_);
    return false;
  }
  return true;
}

bool batch_coder::code_column(const row_coder::field& f, const cell_batch& cells,
                              std::size_t first_row) {
  const std::size_t width = table_.n_attributes();
  std::uint32_t* const codes = codes_.data() + first_row * width + f.attribute;
  switch (f.as) {
    case row_coder::use::SKIP:
      return true;
    case row_coder::use::ATTRIBUTE:
      if (const number_limits* const limits = columns_.numbers[f.attribute].get();
          limits != nullptr && (limits->reads_fast() || coder_.forgets(f))) {
        return limits->place(cells, coder_.how().missing, codes, width);
      }
      return coder_.look_up(f, cells, codes, width);
    case row_coder::use::CLASS:
      return coder_.look_up(f, cells, classes_.data() + first_row, 1);
    case row_coder::use::WEIGHT:
      return coder_.read_weights(cells, weights_.data() + first_row);
  }
  return false;
}

}  // namespace orvik::impls
