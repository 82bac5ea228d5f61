#include "intake.h"

#include <stdexcept>

#include "memory_file.h"
#include "orvik/codes.h"
#include "orvik/orvik.h"

namespace orvprep {

namespace {

constexpr std::size_t k_written_at_once = 1UL << 20;

class profile_visitor : public body_visitor {
 public:
  profile_visitor(const std::string& file, const layout& form, std::vector<column_profile>& to)
      : body_visitor(file, form), to_(to) {}

 private:
  void take(unsigned long column, std::string_view text, unsigned long line) override {
    to_[column].add(text, line);
  }
  void end(unsigned long) override {}

  std::vector<column_profile>& to_;
};

class load_visitor : public body_visitor {
 public:
  load_visitor(const std::string& file, const layout& form, const std::vector<column_plan>& plans,
               const cell_rules& rules, table_text& to)
      : body_visitor(file, form), plans_(plans), rules_(rules), to_(to) {}
  unsigned long n_dropped = 0;

 private:
  void take(unsigned long column, std::string_view text, unsigned long) override {
    const column_plan& plan = plans_[column];
    if (rules_.is_unknown(text)) {
      drop_ = drop_ || plan.is("class");
      to_.add_cell(k_unknown);
    } else if (plan.is("ignore")) {
      to_.add_cell(k_unknown);
    } else if (plan.numeric) {
      to_.add_cell(rules_.number_text(text));
    } else {
      rules_.breaks_form(text) ? to_.add_cell(rules_.written(text)) : to_.add_cell(text);
    }
  }
  void end(unsigned long) override {
    drop_ ? to_.drop_row() : to_.end_row();
    n_dropped += drop_;
    drop_ = false;
  }

  const std::vector<column_plan>& plans_;
  const cell_rules& rules_;
  table_text& to_;
  bool drop_ = false;
};

settings for_memory(settings how) {
  how.cells.out_separator = k_inner_separator;
  return how;
}

}  // namespace

bool body_visitor::end_of_row(unsigned long n, unsigned long line) {
  const bool header = in_header();
  ++rows_;
  if (header) return true;
  if (n != form_.names.size()) {
    throw file_error(file_, line,
                     std::to_string(n) + " cells instead of " + std::to_string(form_.names.size()));
  }
  end(line);
  return true;
}

intake::intake(const settings& how)
    : how_(for_memory(how)),
      bytes_(how.input),
      form_(layout_of(bytes_, how.separator, how.header, how.cells.decimal_point)),
      rows_(how.input, form_.separator) {
  for (std::size_t i = 0; i < form_.names.size(); ++i) profiles_.emplace_back(how_.cells);
  profile_visitor profiler(how_.input, form_, profiles_);
  rows_.read(bytes_, profiler);
  for (column_profile& p : profiles_) p.finish();
  n_rows_ = profiler.n_rows();
  if (n_rows_ == 0) throw std::runtime_error(how_.input + ": no rows below the header");
  plans_ = plan_columns(how_.input, form_.names, profiles_, how_.columns, how_.cells);
}

intake::~intake() = default;

std::unique_ptr<orvik::table> intake::load(const std::string& name) {
  table_text text;
  for (const column_plan& p : plans_) text.add_column(p.name, p.type, p.role);
  load_visitor loader(how_.input, form_, plans_, how_.cells, text);
  rows_.read(bytes_, loader);
  n_dropped_ = loader.n_dropped;
  return text.load(name, how_.input);
}

struct table_text::files {
  memory_file names, data;
};

table_text::table_text() : files_(std::make_unique<files>()) {}
table_text::~table_text() = default;

void table_text::add_column(const std::string& name, const std::string& type,
                            const std::string& role) {
  files_->names.write(name + k_inner_separator + type + k_inner_separator + role + '\n');
}

void table_text::add_cell(std::string_view text) {
  if (in_row_) rows_ += k_inner_separator;
  rows_ += text;
  in_row_ = true;
}

void table_text::end_row() {
  rows_ += '\n';
  in_row_ = false;
  if (rows_.size() >= k_written_at_once) {
    files_->data.write(rows_);
    rows_.clear();
  }
  row_ = rows_.size();
}

void table_text::drop_row() {
  rows_.resize(row_);
  in_row_ = false;
}

std::unique_ptr<orvik::table> table_text::load(const std::string& name, const std::string& file) {
  files_->data.write(rows_);
  rows_.clear();
  try {
    auto table = std::make_unique<orvik::table>(name);
    table->load_meta_data(files_->names.path(), k_inner_separator, orvik::k_unknown_text);
    table->load_data(files_->data.path(), k_inner_separator, orvik::get_n_workers(),
                     /*log=*/nullptr);
    return table;
  } catch (const std::runtime_error& failure) {
    throw std::runtime_error(file + ": " + failure.what());
  }
}

}  // namespace orvprep
