#include "intake.h"

#include <stdexcept>

#include "memory_file.h"
#include "orvik/codes.h"
#include "orvik/orvik.h"

namespace orvprep {

namespace {

constexpr std::size_t k_written_at_once = 1UL << 20;

class table_writer : public body_rows {
 public:
  table_writer(const table_input& in, const table_plan& plan, table_text& to)
      : body_rows(in.name(), in.form()), plan_(plan), to_(to) {}
  unsigned long n_dropped = 0;

 private:
  void take(unsigned long column, std::string_view text, unsigned long) override {
    const column_plan& of = plan_.columns[column];
    drop_ = drop_ || (of.is("class") && plan_.cells.is_unknown(text, of.reading));
    append_cell(plan_, of, text, to_.add_cell());
  }
  void end(unsigned long) override {
    drop_ ? to_.drop_row() : to_.end_row();
    n_dropped += drop_;
    drop_ = false;
  }

  const table_plan& plan_;
  table_text& to_;
  bool drop_ = false;
};

}  // namespace

planned_input::planned_input(const settings& how)
    : in(look_through(how.input, how, /*to_load=*/true)), plan(plan_of(in, how)) {}

struct table_text::files {
  memory_file names, data;
};

table_text::table_text() : files_(std::make_unique<files>()) {}
table_text::~table_text() = default;

void table_text::add_column(const std::string& name, const std::string& type,
                            const std::string& role) {
  files_->names.write(name + k_inner_separator + type + k_inner_separator + role + '\n');
}

std::string& table_text::add_cell() {
  if (in_row_) rows_ += k_inner_separator;
  in_row_ = true;
  return rows_;
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

std::unique_ptr<orvik::table> load_rows(planned_input& from, const std::string& name,
                                        unsigned long& n_dropped) {
  if (const text_table* texts = from.in.texts()) return texts->typed(name, from.plan, n_dropped);
  table_text text;
  for (const column_plan& p : from.plan.columns) {
    text.add_column(from.plan.cells.written(p.name), p.type, p.role);
  }
  table_writer writer(from.in, from.plan, text);
  from.in.read(writer);
  n_dropped = writer.n_dropped;
  return text.load(name, from.in.name());
}

}  // namespace orvprep
