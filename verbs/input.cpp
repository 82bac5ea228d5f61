#include "input.h"

#include <stdexcept>

#include "intake.h"
#include "orvik/orvik.h"
#include "row_file.h"
#include "summary.h"
#include "zel/text/message.h"
#include "zel/util/run_context.h"

namespace orvverbs {

namespace {

constexpr std::size_t k_told_columns = 20;

/// "column=a<b<c"
void add_order(const std::string& word, orvprep::column_wishes& columns) {
  const std::size_t equals = word.find('=');
  if (equals == word.npos) throw usage_error("--ordered: " + word + " is not COLUMN=A<B<C");
  std::vector<std::string>& values = columns.ordered[word.substr(0, equals)];
  std::string rest = word.substr(equals + 1);
  for (std::size_t end; (end = rest.find('<')) != rest.npos; rest.erase(0, end + 1)) {
    values.push_back(rest.substr(0, end));
  }
  values.push_back(rest);
}

/// A line for every column of which there is something to say.
void tell_notes(const orvprep::table_plan& plan, std::ostream& told) {
  std::size_t n = 0;
  for (const orvprep::column_plan& p : plan.columns) {
    if (p.note.empty()) continue;
    if (++n > k_told_columns) continue;
    told << "  column '" << zel::text::one_line(p.name) << "': " << zel::text::one_line(p.note)
         << '\n';
  }
  if (n > k_told_columns) told << "  and of " << n - k_told_columns << " columns more\n";
}

training_input load_delimited(const input_options& from, std::ostream& told) {
  orvprep::settings how = from.settings();
  how.cells.out_separator = orvprep::k_inner_separator;
  orvprep::planned_input planned(how);
  unsigned long n_dropped = 0;
  training_input result;
  result.table = orvprep::load_rows(planned, base_name(from.file), n_dropped);
  orvprep::write_remarks(planned.in, how.cells, told);
  tell_notes(planned.plan, told);
  if (n_dropped > 0) told << "  " << n_dropped << " rows of unknown class left out\n";
  result.how = {planned.in.form().separator, how.layout.comment, std::move(planned.plan)};
  return result;
}

/// What is said of the columns of a table stands in it already.
void refuse_wishes(const input_options& from) {
  const orvprep::column_wishes& c = from.columns;
  const bool wishes = !c.class_column.empty() || !c.weights_column.empty() || !c.ignored.empty() ||
                      !c.discrete.empty() || !c.continuous.empty() || !from.ordered.empty() ||
                      !from.unknown.empty() || !from.also_unknown.empty() || !from.bins.empty() ||
                      c.frequencies;
  if (wishes) {
    throw usage_error(from.file + " has metadata, which says what its columns are: no --class, " +
                      "--weights, --ignore and the like");
  }
}

training_input described(std::unique_ptr<orvik::table> table) {
  training_input result;
  result.how = plain_reading(table->get_schema());
  result.table = std::move(table);
  return result;
}

std::string naming(const std::string& file, const std::string& what) {
  return what.find(file) == what.npos ? file + ": " + what : what;
}

training_input load_pair(const input_options& from) {
  refuse_wishes(from);
  const auto [names, data] = pair_of(from.file);
  const char given = separator_of("--separator", from.separator);
  const char separator = given == 0 ? separator_in(names) : given;
  auto table = std::make_unique<orvik::table>(base_name(from.file));
  try {
    table->load_meta_data(names, separator, orvik::k_unknown_text);
  } catch (const std::runtime_error& failure) {
    throw std::runtime_error(naming(names, failure.what()));
  }
  try {
    table->load_data(data, separator, orvik::get_n_workers(), /*log=*/nullptr);
  } catch (const std::runtime_error& failure) {
    throw std::runtime_error(naming(data, failure.what()));
  }
  training_input result = described(std::move(table));
  result.how.separator = separator;
  return result;
}

training_input load_table(const input_options& from) {
  refuse_wishes(from);
  std::unique_ptr<orvik::table> table(orvik::table::fromBinary(from.file));
  if (!table || table->get_no_rows() == 0) throw std::runtime_error(from.file + ": no rows");
  return described(std::move(table));
}

training_input loaded(const input_options& from, std::ostream& told) {
  switch (kind_of(from.file)) {
    case file_kind::pair:
      return load_pair(from);
    case file_kind::table:
      return load_table(from);
    case file_kind::delimited:
      break;
  }
  return load_delimited(from, told);
}

void tell_table(const std::string& file, const orvik::table& t, std::ostream& told) {
  const orvik::schema_view schema = t.get_schema();
  unsigned long inputs = 0;
  for (unsigned long a = 0; a < schema.n_attributes(); ++a)
    inputs += schema.attribute(a).is_input();
  const orvik::column_view of_class = schema.class_column();
  told << zel::text::one_line(file) << ": " << t.get_no_rows() << " rows, " << inputs
       << " attributes, class '" << zel::text::one_line(of_class.name()) << "' of "
       << of_class.n_values() << " values";
  if (schema.has_weights()) {
    told << ", weights '" << zel::text::one_line(schema.column(schema.weights_index()).name())
         << "'";
  }
  told << '\n';
}

}  // namespace

std::string shell_word(const std::string& text) {
  constexpr std::string_view k_plain =
      "abcdefghijklmnopqrstuvwxyzABCDEFGHIJKLMNOPQRSTUVWXYZ0123456789_-+=.,/:@%";
  if (!text.empty() && text.find_first_not_of(k_plain) == text.npos) return text;
  std::string quoted = "'";
  for (const char c : text) quoted += c == '\'' ? std::string("'\\''") : std::string(1, c);
  return quoted + "'";
}

char separator_of(const std::string& option, const std::string& word) {
  if (word == "tab" || word == "\\t") return '\t';
  if (word == "auto" || word.empty()) return 0;
  if (word.size() > 1)
    throw usage_error(option + ": '" + word + "' is neither a character nor tab");
  return word[0];
}

void input_options::declare_layout(options& all) {
  all.group("What the file looks like");
  all.text("-s,--separator", separator, "CHAR", "of the file: a character, tab or auto");
  all.choice("--header", header, {"auto", "yes", "no"},
             "whether the first row has the names of the columns");
  all.choice("--decimal", decimal, {"auto", ".", ","}, "decimal point of the file");
  all.choice("--thousands", thousands, {"auto", "none", ".", ",", "'", "blank"},
             "mark between thousands");
  all.choice("--encoding", encoding, {"auto", "utf-8", "cp1252"}, "of the file");
  all.text("--comment", comment, "CHAR", "pass over lines that begin with it");
  all.list("-u,--unknown", unknown, "TEXT",
           "texts for an unknown value, in place of the known ones");
  all.list("--also-unknown", also_unknown, "TEXT", "further texts for an unknown value");
  unknown_given_ = [&all] { return all.given("--unknown"); };
}

void input_options::declare_columns(options& all) {
  all.group("What the columns are");
  all.text("-c,--class", columns.class_column, "COLUMN", "the class; else the last column");
  all.text("--bins", bins, "N|CUT,...", "ordered classes of numbers: how many, or cuts");
  all.text("-w,--weights", columns.weights_column, "COLUMN", "case weights");
  all.flag("--frequencies", columns.frequencies, "the weights are numbers of cases");
  all.list("-i,--ignore", columns.ignored, "COLUMN", "columns to leave out");
  all.list("--discrete", columns.discrete, "COLUMN", "columns to be taken as names");
  all.list("--continuous", columns.continuous, "COLUMN", "columns to be taken as numbers");
  all.repeated("--ordered", ordered, "ORDER", "a column of ordered values: COLUMN=A<B<C");
}

orvprep::settings input_options::settings() const {
  using namespace orvprep;
  orvprep::settings how;
  how.input = file;
  how.layout.separator = separator_of("--separator", separator);
  how.layout.header = header == "yes"  ? header_mode::present
                      : header == "no" ? header_mode::absent
                                       : header_mode::find_out;
  how.layout.comment = separator_of("--comment", comment);
  if (decimal != "auto") how.layout.decimal_point = how.cells.decimal_point = decimal[0];
  if (thousands == "none") {
    how.cells.thousands = '\0';
  } else if (thousands != "auto") {
    how.cells.thousands = thousands == "blank" ? ' ' : thousands[0];
  }
  if (encoding != "auto") {
    how.encoded = encoding == "utf-8" ? orvprep::encoding::utf8 : orvprep::encoding::cp1252;
  }
  if (unknown_given_ && unknown_given_()) how.cells.set_unknown(unknown);
  how.cells.add_unknown(also_unknown);
  how.columns = columns;
  if (!bins.empty()) how.columns.classes = bins_of(bins);
  for (const std::string& order : ordered) add_order(order, how.columns);
  return how;
}

std::string input_options::words() const {
  std::string text = shell_word(file);
  const auto add = [&text](const char* option, const std::string& value, const char* usual = "") {
    if (value != usual) text += std::string(" ") + option + ' ' + shell_word(value);
  };
  const auto add_list = [&add](const char* option, const std::vector<std::string>& all) {
    std::string list;
    for (const std::string& each : all) list += (list.empty() ? "" : ",") + each;
    add(option, list);
  };
  add("--class", columns.class_column);
  add("--bins", bins);
  add("--weights", columns.weights_column);
  if (columns.frequencies) text += " --frequencies";
  add_list("--ignore", columns.ignored);
  add_list("--discrete", columns.discrete);
  add_list("--continuous", columns.continuous);
  for (const std::string& order : ordered) add("--ordered", order);
  add("--separator", separator, "auto");
  add("--header", header, "auto");
  add("--decimal", decimal, "auto");
  add("--thousands", thousands, "auto");
  add("--encoding", encoding, "auto");
  add("--comment", comment);
  if (unknown_given_ && unknown_given_()) add_list("--unknown", unknown);
  add_list("--also-unknown", also_unknown);
  return text;
}

training_input load_training(const input_options& from, std::ostream& told) {
  zel::util::default_context().progress().begin(zel::util::progress::unit::rows, 0);
  training_input result = loaded(from, told);
  if (!result.how.plan.frequencies) result.table->rescale_weights();
  tell_table(from.file, *result.table, told);
  return result;
}

void tell_of_folds(const training_input& in, std::ostream& told) {
  if (!in.how.plan.frequencies) return;
  told << "  all cases of a row are in one fold: cross-validation tests on kinds of rows never "
          "seen\n";
}

}  // namespace orvverbs
