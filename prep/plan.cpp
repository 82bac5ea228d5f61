#include "plan.h"

#include <algorithm>
#include <cmath>
#include <numeric>
#include <stdexcept>

#include "column_reading.h"
#include "zel/text/decimal.h"

namespace orvprep {

namespace {

constexpr unsigned long k_key_numbers = 50;  // rows up to which all may differ
constexpr unsigned long k_key_texts = 20;
constexpr unsigned long k_class_numbers = 100;  // more different numbers are no classes
constexpr unsigned long k_few_classes = 20;     // fewer are no matter of doubt

constexpr char k_constant[] = "constant, left out";
constexpr char k_key[] = "different in every row, left out";
constexpr char k_all_unknown[] = "no known value, left out";
constexpr char k_wished[] = "left out as asked";
constexpr char k_last[] = "is the last one; name the class by --class";
constexpr char k_no_weights[] = ": --frequencies has no effect without --weights";
constexpr char k_no_effect[] =
    " has no effect on the class; --bins makes ordered classes of its numbers";
constexpr char k_scaled[] =
    "scaled to sum to the rows; --frequencies says that they are numbers of cases";
constexpr char k_many_numbers[] =
    "the last column is a number of many values; name the class by --class, or make ordered "
    "classes "
    "of it, as by --bins 4";
constexpr char k_quantity[] =
    "this looks like a quantity; Orvik predicts classes: --bins 4 makes ordered classes of equal "
    "frequency, --bins 10,20,50 at these cuts";
constexpr char k_at_cut[] = "; a value equal to a cut is in the class below it";
constexpr char k_replaced[] = " values with line ends or separators, written with '";
constexpr char k_separator_in_type[] =
    "its order holds the separator; choose another by --out-separator";

/// Whether known cells are written as they stand.
bool writes_texts(const column_plan& plan) {
  return !plan.is("ignore") && !plan.numeric && !plan.classes.any();
}

/// By name or number.
std::optional<unsigned long> find_column(const std::vector<std::string>& names,
                                         const std::string& wanted) {
  const auto at = std::ranges::find(names, wanted);
  if (at != names.end()) return static_cast<unsigned long>(at - names.begin());
  const std::optional<unsigned long> number = zel::text::parse_whole(wanted);
  if (number && *number >= 1 && *number <= names.size()) return *number - 1;
  return {};
}

std::string counted(unsigned long n, const char* what) { return std::to_string(n) + what; }

class planner {
 public:
  planner(const std::string& file, const std::vector<std::string>& names,
          const std::vector<column_profile>& profiles, const column_wishes& wishes,
          const cell_rules& rules, const std::vector<counted_number>& class_numbers)
      : file_(file),
        names_(names),
        profiles_(profiles),
        wishes_(wishes),
        rules_(rules),
        class_numbers_(class_numbers),
        plans_(names.size()) {}

  std::vector<column_plan> plan() {
    class_ = class_of(file_, names_, wishes_);
    check_wishes();
    for (std::size_t i = 0; i < names_.size(); ++i) {
      plans_[i].name = names_[i];
      infer(i);
    }
    for (const std::string& c : wishes_.discrete) make_discrete(index_of(c));
    for (const std::string& c : wishes_.continuous) make_continuous(index_of(c));
    for (const auto& [c, values] : wishes_.ordered) make_ordered(index_of(c), values);
    for (const std::string& c : wishes_.ignored) leave_out(index_of(c), k_wished);
    if (!wishes_.weights_column.empty()) make_weights(index_of(wishes_.weights_column));
    make_class(class_);
    for (std::size_t i = 0; i < plans_.size(); ++i) add_notes(i);
    return std::move(plans_);
  }

 private:
  unsigned long index_of(const std::string& wanted) const {
    return column_of(file_, names_, wanted);
  }
  [[noreturn]] void fail(std::size_t i, const std::string& reason) const {
    throw std::runtime_error(file_ + ": column '" + names_[i] + "': " + reason);
  }

  /// No wish takes the place of another, or of the class, in silence.
  void check_wishes() {
    std::map<std::size_t, std::string> roles;
    const auto add = [&](const std::string& c, const std::string& option) {
      const std::size_t i = index_of(c);
      const auto [at, is_new] = roles.emplace(i, option);
      if (!is_new && at->second != option) {
        fail(i, option + " has no effect beside " + at->second);
      }
    };
    if (!wishes_.weights_column.empty()) add(wishes_.weights_column, "--weights");
    for (const std::string& c : wishes_.ignored) add(c, "--ignore");
    for (const std::string& c : wishes_.discrete) add(c, "--discrete");
    for (const std::string& c : wishes_.continuous) add(c, "--continuous");
    for (const auto& [c, values] : wishes_.ordered) add(c, "--ordered");
    if (const auto at = roles.find(class_); at != roles.end()) check_class_wish(at->second);
    if (wishes_.frequencies && wishes_.weights_column.empty()) {
      throw std::runtime_error(file_ + k_no_weights);
    }
  }

  void check_class_wish(const std::string& option) const {
    const bool named = !wishes_.class_column.empty();
    if (!named && (option == "--weights" || option == "--ignore")) fail(class_, k_last);
    if (option == "--ordered" && !wishes_.classes.any()) return;
    fail(class_, option + k_no_effect);
  }

  void leave_out(std::size_t i, const char* why) {
    plans_[i].reading = profiles_[i].reading();
    plans_[i].type = "null";
    plans_[i].role = "ignore";
    plans_[i].note = why;
  }

  void infer(std::size_t i) {
    const column_profile& p = profiles_[i];
    const bool whole = p.is_whole();
    // Few rows may differ by chance, in a text less easily; numbers that count the rows never do.
    const bool counts_rows =
        whole && p.highest() - p.lowest() + 1 == static_cast<double>(p.n_cells());
    const unsigned long few = counts_rows ? 2 : p.is_numeric() ? k_key_numbers : k_key_texts;
    const bool differ = p.n_distinct() == p.n_cells() && (whole || !p.is_numeric());
    if (p.n_distinct() == 0) {
      leave_out(i, k_all_unknown);
    } else if (p.n_distinct() == 1) {
      leave_out(i, k_constant);
    } else if (differ && p.n_cells() > few) {
      leave_out(i, k_key);
      plans_[i].key = true;
    } else if (p.is_numeric() && !(whole && p.n_distinct() == 2)) {
      make_continuous(i);
    } else {
      make_discrete(i);
    }
  }

  /// Numbers too are names as they stand.
  void make_discrete(std::size_t i) {
    set(i, "string", "discrete");
    plans_[i].numeric = false;
  }

  void make_continuous(std::size_t i) {
    const column_profile& p = profiles_[i];
    if (!p.is_numeric()) fail(i, why_no_number(p));
    set(i, p.is_whole() ? "integer" : "double", "continuous");
  }

  /// Of a settled column of texts: one of them, or why its numbers are not known.
  std::string why_no_number(const column_profile& p) const {
    if (const auto misfit = p.first_misfit(p.best_format(rules_.formats()).first)) {
      return "not a number: " + where(*misfit);
    }
    const std::vector<counted_text> doubtful = p.doubtful_values();
    if (!doubtful.empty()) return "not a number: " + where(doubtful[0]);
    return p.n_distinct() == 0 ? k_all_unknown : reading_note(p, rules_);
  }

  void make_ordered(std::size_t i, const std::vector<std::string>& values) {
    const column_profile& p = profiles_[i];
    const std::vector<counted_text> texts = p.texts();
    if (texts.size() < p.n_distinct()) fail(i, "too many values to be ordered");
    for (const counted_text& t : texts) {
      if (std::ranges::find(values, t.text) == values.end()) {
        fail(i, "value not in the given order: " + where(t));
      }
    }
    set(i, type_of_ordered(i, values), "continuous");
    plans_[i].numeric = false;
  }

  std::string type_of_ordered(std::size_t i, const std::vector<std::string>& values) const {
    std::string type = "ostring:";
    for (const std::string& v : values) {
      if (v.find(';') != v.npos) fail(i, "an ordered value holds ';': '" + v + "'");
      type += (&v == values.data() ? "" : ";") + rules_.written(v);
    }
    return type;
  }

  void make_weights(std::size_t i) {
    const column_profile& p = profiles_[i];
    if (const auto unknown = p.first_unknown()) fail(i, "a weight is unknown: " + where(*unknown));
    if (!p.is_numeric()) fail(i, "a weight is " + why_no_number(p));
    if (p.lowest() < 0) fail(i, "a weight is below 0");
    set(i, "double", "weights");
    plans_[i].note = wishes_.frequencies ? frequencies_note(i) : k_scaled;
  }

  std::string frequencies_note(std::size_t i) const {
    double sum = 0;
    for (const counted_number& n : numbers_of(profiles_[i])) {
      if (n.value != std::floor(n.value)) {
        fail(i, "a frequency is no whole number: " + zel::text::shortest_decimal(n.value));
      }
      sum += n.value * static_cast<double>(n.count);
    }
    return zel::text::shortest_decimal(sum) + " cases in " +
           counted(profiles_[i].n_cells(), " rows, which orvcmd -norescale keeps");
  }

  void make_class(std::size_t i) {
    const column_profile& p = profiles_[i];
    const bool ordered = plans_[i].type.starts_with("ostring");
    if (wishes_.classes.any()) return make_bins(i);
    if (wishes_.class_column.empty() && p.is_numeric() &&
        (!p.is_whole() || p.n_distinct() > k_class_numbers)) {
      fail(i, k_many_numbers);
    }
    if (p.n_distinct() < 2) fail(i, "a class needs two different values");
    set(i, ordered ? plans_[i].type : "string", "class");
    plans_[i].numeric = false;
    const bool every_row = p.n_distinct() > 2 && p.n_distinct() == p.n_cells() - p.n_unknown();
    if (p.is_numeric() && (p.n_distinct() > k_few_classes || every_row)) {
      plans_[i].note = counted(p.n_distinct(), " classes: ") + k_quantity;
    }
  }

  void make_bins(std::size_t i) {
    const column_profile& p = profiles_[i];
    if (!p.is_numeric()) fail(i, "--bins: " + why_no_number(p));
    const std::vector<counted_number> numbers =
        class_numbers_.empty() ? numbers_of(p) : class_numbers_;
    const bins made =
        wishes_.classes.n > 0 ? equal_bins(numbers, wishes_.classes.n) : bins{wishes_.classes.cuts};
    if (!made.any()) fail(i, "a class needs two different values");
    const std::vector<std::string> names = made.names();
    std::vector<unsigned long> counts(names.size());
    for (const counted_number& n : numbers) counts[made.bin_of(n.value)] += n.count;
    if (std::ranges::count(counts, 0UL) + 1 == std::ssize(counts)) {
      fail(i, "--bins: all values are in one of them");
    }
    set(i, type_of_ordered(i, names), "class");
    plans_[i].numeric = false;
    plans_[i].classes = made;
    for (std::size_t b = 0; b < names.size(); ++b) {
      plans_[i].note += (b == 0 ? "" : ", ") + names[b] + " (" + counted(counts[b], ")");
    }
    plans_[i].note += k_at_cut;
  }

  void set(std::size_t i, const std::string& type, const char* role) {
    column_plan plan;
    plan.name = plans_[i].name;
    plan.type = type;
    plan.role = role;
    plan.numeric = profiles_[i].is_numeric();
    plan.reading = profiles_[i].reading();
    plans_[i] = plan;
  }

  void add_notes(std::size_t i) {
    // What looks as a key may be a column of numbers but for a few cells.
    if (plans_[i].is("ignore") && !plans_[i].key) return;
    plans_[i].note = joined(plans_[i].note, reading_note(profiles_[i], rules_));
    if (writes_texts(plans_[i]) && profiles_[i].n_replaced() > 0) add_replaced(i);
  }

  /// Says what is replaced, and refuses what could not be told apart afterwards.
  void add_replaced(std::size_t i) {
    const std::string collision = profiles_[i].collision();
    if (!collision.empty()) {
      fail(i, "'" + collision + "' would look as another value when written; see --replace");
    }
    plans_[i].note = joined(
        plans_[i].note, counted(profiles_[i].n_replaced(), k_replaced) + rules_.replacement + "'");
  }

  const std::string& file_;
  const std::vector<std::string>& names_;
  const std::vector<column_profile>& profiles_;
  const column_wishes& wishes_;
  const cell_rules& rules_;
  const std::vector<counted_number>& class_numbers_;
  std::size_t class_ = 0;
  std::vector<column_plan> plans_;
};

}  // namespace

unsigned long column_of(const std::string& file, const std::vector<std::string>& names,
                        const std::string& wanted) {
  if (const auto column = find_column(names, wanted)) return *column;
  throw std::runtime_error(file + ": no column '" + wanted + "'");
}

unsigned long class_of(const std::string& file, const std::vector<std::string>& names,
                       const column_wishes& wishes) {
  return wishes.class_column.empty() ? names.size() - 1
                                     : column_of(file, names, wishes.class_column);
}

std::vector<column_plan> plan_columns(const std::string& file,
                                      const std::vector<std::string>& names,
                                      const std::vector<column_profile>& profiles,
                                      const column_wishes& wishes, const cell_rules& rules,
                                      const std::vector<counted_number>& class_numbers) {
  return planner(file, names, profiles, wishes, rules, class_numbers).plan();
}

std::vector<unsigned long> columns_to_keep(const std::string& file,
                                           const std::vector<std::string>& names,
                                           const column_wishes& wishes) {
  std::vector<unsigned long> kept;
  if (wishes.classes.any()) kept.push_back(class_of(file, names, wishes));
  if (wishes.frequencies && !wishes.weights_column.empty()) {
    kept.push_back(column_of(file, names, wishes.weights_column));
  }
  return kept;
}

std::vector<unsigned long> columns_of_texts(const std::vector<std::string>& names,
                                            const column_wishes& wishes) {
  std::vector<std::string> named = wishes.discrete;
  for (const auto& [column, values] : wishes.ordered) named.push_back(column);
  std::vector<unsigned long> columns;
  if (wishes.class_column.empty()) {
    columns.push_back(names.size() - 1);
  } else {
    named.push_back(wishes.class_column);
  }
  for (const std::string& name : named) {
    if (const auto column = find_column(names, name)) columns.push_back(*column);
  }
  return columns;
}

void widen(std::vector<column_plan>& plans, const std::string& file,
           const std::vector<const column_profile*>& others) {
  for (std::size_t i = 0; i < plans.size(); ++i) {
    column_plan& plan = plans[i];
    if (others[i] == nullptr || plan.is("ignore") || writes_texts(plan)) continue;
    if (const auto text = others[i]->first_misfit(plan.reading.format)) {
      throw std::runtime_error(file + ":" + std::to_string(text->line) + ": column '" + plan.name +
                               "': not a number: '" + text->text + "'");
    }
    if (plan.type == "integer" && others[i]->n_distinct() > 0 && !others[i]->is_whole()) {
      plan.type = "double";
    }
  }
}

char separator_for(const table_plan& plan,
                   const std::vector<std::vector<const column_profile*>>& profiles) {
  const auto occurs = [&](char c) {
    for (std::size_t i = 0; i < plan.columns.size(); ++i) {
      const column_plan& column = plan.columns[i];
      if ((column.name + column.type).find(c) != std::string::npos) return true;
      if (!writes_texts(column)) continue;
      for (const column_profile* p : profiles[i]) {
        if (p->holds(c)) return true;
      }
    }
    return false;
  };
  return *std::ranges::find_if_not(k_separators.begin(), k_separators.end() - 1, occurs);
}

std::string metadata_of(const table_plan& plan) {
  const char separator = plan.cells.out_separator;
  std::string text;
  for (const column_plan& p : plan.columns) {
    if (p.type.find(separator) != p.type.npos) {
      throw std::runtime_error("column '" + p.name + "': " + k_separator_in_type);
    }
    text += plan.cells.written(p.name) + separator + p.type + separator + p.role + '\n';
  }
  return text;
}

bool fits(const table_plan& plan, const column_plan& column, std::string_view cell) {
  if (writes_texts(column) || column.is("ignore")) return true;
  return plan.cells.is_unknown(cell, column.reading) ||
         number_of(number_text(cell, column.reading.format)).kind != number_kind::none;
}

void append_cell(const table_plan& plan, const column_plan& column, std::string_view cell,
                 std::string& to) {
  const cell_rules& rules = plan.cells;
  if (column.is("ignore") || rules.is_unknown(cell, column.reading)) {
    to += k_unknown;
  } else if (column.classes.any()) {
    const double value = number_of(number_text(cell, column.reading.format)).value;
    to += column.classes.name(column.classes.bin_of(value));
  } else if (column.numeric && column.reading.format == number_format{}) {
    to += cell.substr(cell.starts_with('+') ? 1 : 0);
  } else if (column.numeric) {
    to += number_text(cell, column.reading.format);
  } else if (rules.breaks_form(cell)) {
    to += rules.written(cell);
  } else {
    to += cell;
  }
}

column_match match_columns(const table_plan& plan, const std::string& file, const layout& form) {
  column_match match;
  match.plan_of.assign(form.names.size(), column_match::k_none);
  if (!form.has_header || !plan.named) {
    if (form.names.size() != plan.columns.size()) {
      throw std::runtime_error(file + ": " + counted(form.names.size(), " columns instead of ") +
                               std::to_string(plan.columns.size()));
    }
    std::iota(match.plan_of.begin(), match.plan_of.end(), 0UL);
    return match;
  }
  std::map<std::string, unsigned long> by_name;
  for (std::size_t i = 0; i < form.names.size(); ++i) by_name[form.names[i]] = i;
  for (std::size_t i = 0; i < plan.columns.size(); ++i) {
    const auto at = by_name.find(plan.columns[i].name);
    if (at != by_name.end()) {
      match.plan_of[at->second] = i;
    } else if (!plan.columns[i].is("ignore")) {
      match.missing.push_back(i);
    }
  }
  return match;
}

}  // namespace orvprep
