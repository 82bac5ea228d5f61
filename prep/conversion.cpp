#include "conversion.h"

#include <filesystem>
#include <map>
#include <memory>
#include <numeric>
#include <optional>
#include <stdexcept>

#include "column_reading.h"
#include "summary.h"
#include "table_input.h"
#include "zel/inpout/iobuf.h"
#include "zel/inpout/iofile.h"
#include "zel/inpout/replacing_file.h"

namespace orvprep {

namespace {

constexpr char k_unclassed[] = "unknown class; --drop-unclassed leaves such rows out";

constexpr unsigned long k_no_column = column_match::k_none;
constexpr unsigned long k_buffer = 1UL << 20;

std::string in_column(const std::string& name) { return "column '" + name + "': "; }

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

/// Writes the rows of a file in the order of the plan.
class row_writer : public body_rows {
 public:
  /// `plan_of` has for every cell of a row its plan, or k_no_column.
  row_writer(const table_input& in, const std::vector<unsigned long>& plan_of,
             const table_plan& plan, bool drop_unclassed, new_file& out)
      : body_rows(in.name(), in.form()),
        plan_of_(plan_of),
        plan_(plan),
        drop_unclassed_(drop_unclassed),
        out_(out) {
    in_order_ = plan_of.size() == plan.columns.size() && std::ranges::is_sorted(plan_of);
    cells_.resize(in_order_ ? 0 : plan.columns.size(), k_unknown);
    const auto is_class = [](const column_plan& p) { return p.is("class"); };
    class_ = static_cast<unsigned long>(std::ranges::find_if(plan.columns, is_class) -
                                        plan.columns.begin());
  }

  unsigned long n_dropped() const { return n_dropped_; }

 private:
  void take(unsigned long column, std::string_view text, unsigned long line) override {
    const unsigned long at = plan_of_[column];
    if (at == k_no_column) return;
    const column_plan& plan = plan_.columns[at];
    if (at == class_ && plan_.cells.is_unknown(text, plan.reading)) note_unclassed(plan, line);
    if (in_order_) {
      if (!row_.empty() || column > 0) row_ += plan_.cells.out_separator;
      append_cell(plan_, plan, text, row_);
    } else {
      cells_[at].clear();
      append_cell(plan_, plan, text, cells_[at]);
    }
  }

  void note_unclassed(const column_plan& plan, unsigned long line) {
    if (!drop_unclassed_) throw file_error(file(), line, in_column(plan.name) + k_unclassed);
    drop_ = true;
  }

  void end(unsigned long) override {
    if (drop_) {
      ++n_dropped_;
    } else {
      for (std::size_t i = 0; i < cells_.size(); ++i) {
        if (i > 0) row_ += plan_.cells.out_separator;
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
  const table_plan& plan_;
  bool drop_unclassed_;
  new_file& out_;
  bool in_order_;
  bool drop_ = false;
  unsigned long class_;
  unsigned long n_dropped_ = 0;
  std::string row_;
  std::vector<std::string> cells_;  // by plan, where the order differs
};

std::vector<unsigned long> no_columns(const std::vector<std::string>&) { return {}; }

/// A second file beside the first, and what it has of the plan.
struct second_file {
  explicit second_file(const settings& how)
      : in(how.test, {how.layout, how.encoded, {}}, how.cells, no_columns) {}

  table_input in;
  column_match match;
};

/// Tells of columns that are not of both files. Throws where one that is needed is missing.
void check_match(const second_file& test, const table_plan& plan, std::ostream& out) {
  for (std::size_t i = 0; i < test.match.plan_of.size(); ++i) {
    if (test.match.plan_of[i] != k_no_column) continue;
    out << test.in.name() << ": column '" << test.in.form().names[i]
        << "' is not in the training file, left out\n";
  }
  for (const unsigned long i : test.match.missing) {
    const column_plan& column = plan.columns[i];
    if (column.is("class") || column.is("weights")) {
      out << test.in.name() << ": no " << in_column(column.name) << "rows to score, not to test\n";
    } else {
      throw std::runtime_error(test.in.name() + ": no " + in_column(column.name) +
                               "it is needed, as in the training file");
    }
  }
}

/// Reads the second file as the plan does, and widens its types.
void fit_to(second_file& test, table_plan& plan) {
  std::vector<const column_profile*> others(plan.columns.size());
  for (std::size_t i = 0; i < test.match.plan_of.size(); ++i) {
    const unsigned long at = test.match.plan_of[i];
    if (at == k_no_column) continue;
    others[at] = &test.in.profiles()[i];
    test.in.profiles()[i].settle(plan.columns[at].reading);
  }
  widen(plan.columns, test.in.name(), others);
}

/// For every column of the plan its profiles.
using profiles_by_column = std::vector<std::vector<const column_profile*>>;

profiles_by_column profiles_of(const table_input& in) {
  profiles_by_column all;
  for (const column_profile& p : in.profiles()) all.push_back({&p});
  return all;
}

/// In both files.
profiles_by_column profiles_of(const table_input& training, const second_file& test) {
  profiles_by_column all = profiles_of(training);
  for (std::size_t i = 0; i < test.match.plan_of.size(); ++i) {
    const unsigned long at = test.match.plan_of[i];
    if (at != k_no_column) all[at].push_back(&test.in.profiles()[i]);
  }
  return all;
}

/// Tells of the cells of a test file whose values training did not have.
void report_unseen(const second_file& test, const table_input& training, const table_plan& plan,
                   std::ostream& out) {
  for (std::size_t i = 0; i < test.match.plan_of.size(); ++i) {
    const unsigned long at = test.match.plan_of[i];
    if (at == k_no_column) continue;
    const column_plan& column = plan.columns[at];
    if (column.numeric || column.classes.any() || column.is("ignore")) continue;
    std::optional<counted_text> first;
    const unsigned long n = test.in.profiles()[i].n_unseen(training.profiles()[at], first);
    if (n == 0) continue;
    out << test.in.name() << ": " << in_column(column.name) << n
        << " cells of values that training did not have, first " << where(*first)
        << "; use orvcmd -unseen\n";
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

/// @return how many rows were left out.
unsigned long write_rows(table_input& in, const std::vector<unsigned long>& plan_of,
                         const table_plan& plan, const settings& how, new_file& out) {
  row_writer writer(in, plan_of, plan, how.drop_unclassed, out);
  in.read(writer);
  out.close();
  return writer.n_dropped();
}

/// Sums up the frequencies of every number of the class; cells that are none, of which planning
/// tells, count for nothing.
class case_counter : public body_rows {
 public:
  case_counter(const table_input& in, unsigned long of_class, unsigned long of_weights)
      : body_rows(in.name(), in.form()), in_(in), class_(of_class), weights_(of_weights) {}

  std::vector<counted_number> numbers() const {
    std::vector<counted_number> all;
    for (const auto& [value, n] : cases_) {
      if (n > 0) all.push_back({value, static_cast<unsigned long>(n)});
    }
    return all;
  }

 private:
  number read(unsigned long column, std::string_view text) const {
    return number_of(number_text(text, in_.profiles()[column].reading().format));
  }
  void take(unsigned long column, std::string_view text, unsigned long) override {
    if (column == class_) value_ = read(column, text);
    if (column == weights_) weight_ = read(column, text);
  }
  void end(unsigned long) override {
    const bool counts = weight_.value > 0 && weight_.value < k_most;
    if (value_.kind != number_kind::none && counts) cases_[value_.value] += weight_.value;
  }

  static constexpr double k_most = 9007199254740992;  // 2^53
  const table_input& in_;
  unsigned long class_, weights_;
  number value_, weight_;
  std::map<double, double> cases_;
};

std::vector<counted_number> class_numbers(table_input& in, const column_wishes& wishes) {
  if (!wishes.classes.any() || !wishes.frequencies || wishes.weights_column.empty()) {
    return {};
  }
  const std::vector<std::string>& names = in.form().names;
  case_counter counter(in, class_of(in.name(), names, wishes),
                       column_of(in.name(), names, wishes.weights_column));
  in.read(counter);
  return counter.numbers();
}

}  // namespace

table_input look_through(const std::string& name, const settings& how, bool to_load) {
  input_wishes wishes{how.layout, how.encoded, {}};
  if (to_load) {
    wishes.texts = [&](const std::vector<std::string>& names) {
      return columns_of_texts(names, how.columns);
    };
  }
  return {name, wishes, how.cells, [&](const std::vector<std::string>& names) {
            return columns_to_keep(name, names, how.columns);
          }};
}

table_plan plan_of(table_input& in, const settings& how) {
  settle_readings(in.profiles(), how.cells);
  table_plan plan;
  plan.named = in.form().has_header;
  plan.columns = plan_columns(in.name(), in.form().names, in.profiles(), how.columns, how.cells,
                              class_numbers(in, how.columns));
  plan.cells = how.cells;
  plan.frequencies = how.columns.frequencies;
  if (plan.cells.out_separator == 0) {
    plan.cells.out_separator = separator_for(plan, profiles_of(in));
  }
  return plan;
}

table_plan convert(const settings& how, std::ostream& out) {
  require_apart(how);
  table_input training = look_through(how.input, how);
  table_plan plan = plan_of(training, how);
  std::vector<unsigned long> in_order(plan.columns.size());
  std::iota(in_order.begin(), in_order.end(), 0UL);
  std::optional<second_file> test;
  if (!how.test.empty()) {
    test.emplace(how);
    test->match = match_columns(plan, how.test, test->in.form());
    check_match(*test, plan, out);
    fit_to(*test, plan);
    if (how.cells.out_separator == 0) {
      plan.cells.out_separator = separator_for(plan, profiles_of(training, *test));
    }
  }
  if (!how.quiet) write_summary(training, plan, out);

  new_file names(how.output + ".names"), data(how.output + ".data");
  names.write(metadata_of(plan));
  names.close();
  const unsigned long dropped = write_rows(training, in_order, plan, how, data);
  std::optional<new_file> test_data;
  if (test) {
    test_data.emplace(how.output + ".test");
    const unsigned long of_test = write_rows(test->in, test->match.plan_of, plan, how, *test_data);
    report_unseen(*test, training, plan, out);
    report_dropped(how.test, of_test, out);
  }
  report_dropped(how.input, dropped, out);
  names.commit();
  data.commit();
  if (test_data) test_data->commit();
  return plan;
}

}  // namespace orvprep
