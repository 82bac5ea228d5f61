#include "conversion.h"

#include <filesystem>
#include <memory>
#include <numeric>
#include <optional>
#include <stdexcept>

#include "csv_rows.h"
#include "summary.h"
#include "zel/inpout/iobuf.h"
#include "zel/inpout/iofile.h"
#include "zel/inpout/replacing_file.h"

namespace orvprep {

namespace {

constexpr char k_no_rows[] = ": no rows below the header";
constexpr char k_unclassed[] = "unknown class; --drop-unclassed leaves such rows out";

constexpr unsigned long k_no_column = ~0UL;
constexpr unsigned long k_buffer = 1UL << 20;

std::string in_column(const std::string& name) { return "column '" + name + "': "; }

/// Checks the number of cells and passes over the header; the rest is for those derived.
class body_rows : public row_visitor {
 public:
  body_rows(const std::string& file, const layout& form) : file_(file), form_(form) {}

  void cell(unsigned long column, std::string_view text, unsigned long line) final {
    if (in_header()) return;
    if (column >= form_.names.size()) return;  // counted by the end of the row
    take(column, text, line);
  }
  bool end_of_row(unsigned long n, unsigned long line) final {
    const bool header = in_header();
    ++rows_;
    if (header) return true;
    if (n != form_.names.size()) {
      throw file_error(
          file_, line,
          std::to_string(n) + " cells instead of " + std::to_string(form_.names.size()));
    }
    end(line);
    return true;
  }

  /// Rows below the header so far.
  unsigned long n_rows() const { return rows_ - (form_.has_header && rows_ > 0 ? 1 : 0); }

 protected:
  virtual void take(unsigned long column, std::string_view text, unsigned long line) = 0;
  virtual void end(unsigned long line) = 0;
  const std::string& file() const { return file_; }

 private:
  bool in_header() const { return form_.has_header && rows_ == 0; }

  const std::string& file_;
  const layout& form_;
  unsigned long rows_ = 0;
};

class profiler : public body_rows {
 public:
  profiler(const std::string& file, const layout& form, const cell_rules& rules)
      : body_rows(file, form) {
    for (std::size_t i = 0; i < form.names.size(); ++i) profiles.emplace_back(rules);
  }
  std::vector<column_profile> profiles;

 private:
  void take(unsigned long column, std::string_view text, unsigned long line) override {
    profiles[column].add(text, line);
  }
  void end(unsigned long) override {}
};

/// A file that is complete, or not there.
class new_file {
 public:
  explicit new_file(const std::string& name) : name_(name), target_(name) {
    auto file = std::make_unique<zel::inpout::iofile>();
    using namespace zel::inpout;
    if (!file->open(target_.path(), mode_write | mode_create | mode_truncate, 0644)) fail("");
    buffer_.open(file.release(), /*owns=*/true, k_buffer);
  }
  void write(std::string_view bytes) {
    buffer_.write(bytes.data(), static_cast<long>(bytes.size()));
    if (buffer_.failed()) fail(buffer_.error());
  }
  void close() {
    buffer_.close();
    if (buffer_.failed()) fail(buffer_.error());
  }
  void commit() {
    try {
      target_.commit();
    } catch (const std::runtime_error& error) {
      fail(error.what());
    }
  }

 private:
  [[noreturn]] void fail(const std::string& reason) const {
    throw std::runtime_error(name_ + ": cannot be written" + (reason.empty() ? "" : ": " + reason));
  }

  std::string name_;
  zel::inpout::replacing_file target_;
  zel::inpout::iobuf buffer_;
};

/// Writes the rows of a file in the order of the plans.
class row_writer : public body_rows {
 public:
  /// `plan_of` has for every cell of a row its plan, or k_no_column.
  row_writer(const std::string& file, const layout& form, const std::vector<unsigned long>& plan_of,
             const std::vector<column_plan>& plans, const settings& how, new_file& out)
      : body_rows(file, form), plan_of_(plan_of), plans_(plans), how_(how), out_(out) {
    in_order_ = plan_of.size() == plans.size() && std::ranges::is_sorted(plan_of);
    cells_.resize(in_order_ ? 0 : plans.size(), k_unknown);
  }

  unsigned long n_dropped() const { return n_dropped_; }

 private:
  void take(unsigned long column, std::string_view text, unsigned long line) override {
    const unsigned long plan = plan_of_[column];
    if (plan == k_no_column) return;
    if (in_order_) {
      if (!row_.empty() || column > 0) row_ += how_.cells.out_separator;
      append(plans_[plan], text, line, row_);
    } else {
      cells_[plan].clear();
      append(plans_[plan], text, line, cells_[plan]);
    }
  }

  void append(const column_plan& plan, std::string_view text, unsigned long line, std::string& to) {
    const cell_rules& rules = how_.cells;
    if (rules.is_unknown(text)) {
      if (plan.is("class")) note_unclassed(plan, line);
      to += k_unknown;
    } else if (plan.is("ignore")) {
      to += k_unknown;
    } else if (plan.numeric) {
      to += rules.number_text(text);
    } else if (rules.breaks_form(text)) {
      to += rules.written(text);
    } else {
      to += text;
    }
  }

  void note_unclassed(const column_plan& plan, unsigned long line) {
    if (!how_.drop_unclassed) throw file_error(file(), line, in_column(plan.name) + k_unclassed);
    drop_ = true;
  }

  void end(unsigned long) override {
    if (drop_) {
      ++n_dropped_;
    } else {
      for (std::size_t i = 0; i < cells_.size(); ++i) {
        if (i > 0) row_ += how_.cells.out_separator;
        row_ += cells_[i];
      }
      row_ += '\n';
      out_.write(row_);
    }
    row_.clear();
    drop_ = false;
    for (std::string& cell : cells_) cell = k_unknown;
  }

  const std::vector<unsigned long>& plan_of_;
  const std::vector<column_plan>& plans_;
  const settings& how_;
  new_file& out_;
  bool in_order_;
  bool drop_ = false;
  unsigned long n_dropped_ = 0;
  std::string row_;
  std::vector<std::string> cells_;  // by plan, where the order differs
};

/// A file that was looked through.
struct input {
  input(const std::string& name, const settings& how)
      : bytes(name),
        form(layout_of(bytes, how.separator, how.header, how.cells.decimal_point)),
        rows(name, form.separator),
        profiled(bytes.name(), form, how.cells) {
    rows.read(bytes, profiled);
    for (column_profile& p : profiled.profiles) p.finish();
    if (profiled.n_rows() == 0) throw std::runtime_error(name + k_no_rows);
  }

  source bytes;
  layout form;
  csv_rows rows;
  profiler profiled;
};

/// For every cell of a test file the training column of that name; by position without names.
std::vector<unsigned long> match_columns(const input& test, const input& training,
                                         const std::vector<column_plan>& plans, std::ostream& out) {
  const std::vector<std::string>& names = training.form.names;
  std::vector<unsigned long> plan_of(test.form.names.size(), k_no_column);
  if (!test.form.has_header || !training.form.has_header) {
    if (plan_of.size() != names.size()) {
      throw std::runtime_error(test.bytes.name() + ": " + std::to_string(plan_of.size()) +
                               " columns instead of " + std::to_string(names.size()));
    }
    std::iota(plan_of.begin(), plan_of.end(), 0UL);
    return plan_of;
  }
  std::vector<bool> found(names.size());
  for (std::size_t i = 0; i < plan_of.size(); ++i) {
    const auto at = std::ranges::find(names, test.form.names[i]);
    if (at == names.end()) {
      out << test.bytes.name() << ": column '" << test.form.names[i]
          << "' is not in the training file, left out\n";
      continue;
    }
    plan_of[i] = static_cast<unsigned long>(at - names.begin());
    found[plan_of[i]] = true;
  }
  for (std::size_t i = 0; i < names.size(); ++i) {
    if (found[i] || plans[i].is("ignore")) continue;
    if (plans[i].is("class") || plans[i].is("weights")) {
      out << test.bytes.name() << ": no " << in_column(names[i]) << "rows to score, not to test\n";
    } else {
      throw std::runtime_error(test.bytes.name() + ": no " + in_column(names[i]) +
                               "it is needed, as in the training file");
    }
  }
  return plan_of;
}

std::string metadata_of(const std::vector<column_plan>& plans, char separator) {
  std::string text;
  for (const column_plan& p : plans) {
    text += p.name + separator + p.type + separator + p.role + '\n';
  }
  return text;
}

/// Tells of the cells of a test file whose values training did not have.
void report_unseen(const input& test, const input& training,
                   const std::vector<unsigned long>& plan_of, const std::vector<column_plan>& plans,
                   std::ostream& out) {
  for (std::size_t i = 0; i < plan_of.size(); ++i) {
    if (plan_of[i] == k_no_column) continue;
    const column_plan& plan = plans[plan_of[i]];
    if (plan.numeric || plan.is("ignore")) continue;
    std::optional<counted_text> first;
    const unsigned long n =
        test.profiled.profiles[i].n_unseen(training.profiled.profiles[plan_of[i]], first);
    if (n == 0) continue;
    out << test.bytes.name() << ": " << in_column(plan.name) << n
        << " cells of values that training did not have, first '" << first->text << "' (line "
        << first->line << "); use orvcmd -unseen\n";
  }
}

/// What is written would take the place of what is read, also under another name.
void require_apart(const settings& how) {
  namespace fs = std::filesystem;
  std::vector<std::string> outputs{how.output + ".names", how.output + ".data"};
  if (!how.test.empty()) outputs.push_back(how.output + ".test");
  for (const std::string& input : {how.input, how.test}) {
    for (const std::string& output : outputs) {
      std::error_code error;
      if (fs::is_regular_file(output, error) && fs::equivalent(input, output, error)) {
        throw std::runtime_error(output + ": would replace the file that is converted");
      }
    }
  }
}

void report_dropped(const std::string& file, unsigned long n, std::ostream& out) {
  if (n > 0) out << file << ": " << n << " rows of unknown class left out\n";
}

/// Types that hold the values of a test file too.
void widen_for(const input& test, const std::vector<unsigned long>& plan_of,
               std::vector<column_plan>& plans) {
  std::vector<const column_profile*> others(plans.size());
  for (std::size_t i = 0; i < plan_of.size(); ++i) {
    if (plan_of[i] != k_no_column) others[plan_of[i]] = &test.profiled.profiles[i];
  }
  widen(plans, test.bytes.name(), others);
}

/// @return how many rows were left out.
unsigned long write_rows(input& in, const std::vector<unsigned long>& plan_of,
                         const std::vector<column_plan>& plans, const settings& how,
                         new_file& out) {
  row_writer writer(in.bytes.name(), in.form, plan_of, plans, how, out);
  in.rows.read(in.bytes, writer);
  out.close();
  return writer.n_dropped();
}

}  // namespace

void convert(const settings& how, std::ostream& out) {
  require_apart(how);
  input training(how.input, how);
  std::vector<column_plan> plans = plan_columns(how.input, training.form.names,
                                                training.profiled.profiles, how.columns, how.cells);
  std::vector<unsigned long> plan_of(plans.size()), plan_of_test;
  std::iota(plan_of.begin(), plan_of.end(), 0UL);
  std::optional<input> test;
  if (!how.test.empty()) {
    test.emplace(how.test, how);
    plan_of_test = match_columns(*test, training, plans, out);
    widen_for(*test, plan_of_test, plans);
  }
  if (!how.quiet) write_summary(training.form, training.profiled.profiles, plans, out);

  new_file names(how.output + ".names"), data(how.output + ".data");
  names.write(metadata_of(plans, how.cells.out_separator));
  names.close();
  const unsigned long dropped = write_rows(training, plan_of, plans, how, data);
  std::optional<new_file> test_data;
  if (test) {
    test_data.emplace(how.output + ".test");
    const unsigned long of_test = write_rows(*test, plan_of_test, plans, how, *test_data);
    report_unseen(*test, training, plan_of_test, plans, out);
    report_dropped(how.test, of_test, out);
  }
  report_dropped(how.input, dropped, out);
  names.commit();
  data.commit();
  if (test_data) test_data->commit();
}

}  // namespace orvprep
