#include "table_input.h"

#include <stdexcept>

#include "column_reading.h"

namespace orvprep {

namespace {

constexpr char k_no_rows[] = ": no rows below the header";
constexpr char k_comment = '#';

class profiler : public body_rows {
 public:
  profiler(const std::string& file, const layout& form, std::vector<column_profile>& profiles)
      : body_rows(file, form), profiles_(profiles) {}

 private:
  void take(unsigned long column, std::string_view text, unsigned long line) override {
    profiles_[column].add(text, line);
  }
  void end(unsigned long) override {}

  std::vector<column_profile>& profiles_;
};

}  // namespace

void body_rows::cell(unsigned long column, std::string_view text, unsigned long line) {
  if (column == 0) begins_as_comment_ = text.starts_with(k_comment);
  if (in_header()) return;
  if (column < form_.names.size()) {
    take(column, text, line);
  } else {  // counted by the end of the row
    has_more_ = has_more_ || !text.empty();
  }
}

bool body_rows::end_of_row(unsigned long n, unsigned long line) {
  const bool header = in_header();
  ++rows_;
  if (header) return true;
  if (n != form_.n_cells() || has_more_) {
    throw file_error(file_, line,
                     std::to_string(n) + " cells instead of " + std::to_string(form_.names.size()) +
                         (begins_as_comment_ ? "; --comment '#' passes over such lines" : ""));
  }
  end(line);
  return true;
}

table_input::table_input(const std::string& name, const input_wishes& wishes,
                         const cell_rules& rules, const chosen_columns& kept)
    : bytes_(name, wishes.encoded) {
  try {
    look_through(wishes, rules, kept);
  } catch (const other_encoding&) {
    look_through(wishes, rules, kept);
  }
}

void table_input::look_through(const input_wishes& wishes, const cell_rules& rules,
                               const chosen_columns& kept) {
  form_ = layout_of(bytes_, wishes.layout);
  const std::vector<unsigned long> keep = kept(form_.names);
  std::vector<bool> as_texts(form_.names.size(), !wishes.texts);
  for (const unsigned long column : keep) as_texts[column] = true;
  if (wishes.texts) {
    for (const unsigned long column : wishes.texts(form_.names)) as_texts[column] = true;
  }
  unsigned long n_rows = 0;
  do {
    texts_.reset();
    if (wishes.layout.comment == 0) texts_ = text_table::of(bytes_, form_, rules, as_texts);
    n_rows = profile_cells(rules, keep);
    settle_readings(profiles_, rules);
  } while (add_open_columns(as_texts));
  if (n_rows == 0) throw std::runtime_error(bytes_.name() + k_no_rows);
}

/// @return the number of rows.
unsigned long table_input::profile_cells(const cell_rules& rules,
                                         const std::vector<unsigned long>& kept) {
  profiles_.clear();
  for (std::size_t i = 0; i < form_.names.size(); ++i) profiles_.emplace_back(rules);
  for (const unsigned long column : kept) profiles_[column].keep_texts();
  profiler rows(bytes_.name(), form_, profiles_);
  texts_ ? texts_->profile(profiles_) : read(rows);
  for (column_profile& p : profiles_) p.finish();
  return texts_ ? texts_->n_rows() : rows.n_rows();
}

/// Columns whose numbers do not suffice, as they are of another format or texts.
bool table_input::add_open_columns(std::vector<bool>& as_texts) const {
  bool added = false;
  for (std::size_t i = 0; texts_ && i < as_texts.size(); ++i) {
    const column_reading& reading = profiles_[i].reading();
    const bool plain = reading.numbers && reading.format == number_format{};
    if (!texts_->has_numbers(i) || plain) continue;
    as_texts[i] = added = true;
  }
  return added;
}

void table_input::read(row_visitor& visit) {
  csv_rows(bytes_.name(), form_.separator).read(bytes_, visit);
}

}  // namespace orvprep
