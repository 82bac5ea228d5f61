#include "plan.h"

#include <algorithm>
#include <stdexcept>

#include "zel/text/decimal.h"

namespace orvprep {

namespace {

constexpr unsigned long k_key_numbers = 50;  // rows up to which all may differ
constexpr unsigned long k_key_texts = 20;
constexpr unsigned long k_class_numbers = 100;  // more different numbers are no classes

constexpr char k_constant[] = "constant, left out";
constexpr char k_key[] = "different in every row, left out";
constexpr char k_all_unknown[] = "no known value, left out";
constexpr char k_wished[] = "left out as asked";

class planner {
 public:
  planner(const std::string& file, const std::vector<std::string>& names,
          const std::vector<column_profile>& profiles, const cell_rules& rules)
      : file_(file), names_(names), profiles_(profiles), rules_(rules), plans_(names.size()) {}

  std::vector<column_plan> plan(const column_wishes& wishes) {
    for (std::size_t i = 0; i < names_.size(); ++i) {
      plans_[i].name = rules_.written(names_[i]);
      infer(i);
    }
    for (const std::string& c : wishes.discrete) make_discrete(index_of(c));
    for (const std::string& c : wishes.continuous) make_continuous(index_of(c));
    for (const auto& [c, values] : wishes.ordered) make_ordered(index_of(c), values);
    for (const std::string& c : wishes.ignored) leave_out(index_of(c), k_wished);
    if (!wishes.weights_column.empty()) make_weights(index_of(wishes.weights_column));
    const bool named = !wishes.class_column.empty();
    make_class(named ? index_of(wishes.class_column) : names_.size() - 1, named);
    for (std::size_t i = 0; i < plans_.size(); ++i) check_writable(i);
    return std::move(plans_);
  }

 private:
  unsigned long index_of(const std::string& wanted) const {
    return column_of(file_, names_, wanted);
  }
  [[noreturn]] void fail(std::size_t i, const std::string& reason) const {
    throw std::runtime_error(file_ + ": column '" + names_[i] + "': " + reason);
  }

  void leave_out(std::size_t i, const char* why) {
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

  void make_discrete(std::size_t i) { set(i, "string", "discrete"); }

  void make_continuous(std::size_t i) {
    const column_profile& p = profiles_[i];
    if (!p.is_numeric()) fail(i, "not a number: " + where(p.first_text()));
    set(i, p.is_whole() ? "integer" : "double", "continuous");
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
    std::string type = "ostring:";
    for (const std::string& v : values) type += (v == values[0] ? "" : ";") + rules_.written(v);
    set(i, type, "continuous");
    plans_[i].numeric = false;
  }

  void make_weights(std::size_t i) {
    const column_profile& p = profiles_[i];
    if (p.first_unknown()) fail(i, "a weight is unknown: " + where(p.first_unknown()));
    if (!p.is_numeric()) fail(i, "a weight is no number: " + where(p.first_text()));
    if (p.lowest() < 0) fail(i, "a weight is below 0");
    set(i, "double", "weights");
  }

  void make_class(std::size_t i, bool named) {
    const column_profile& p = profiles_[i];
    if (!named && p.is_numeric() && (!p.is_whole() || p.n_distinct() > k_class_numbers)) {
      fail(i, "the last column is a number of many values; name the class by --class");
    }
    if (!named && plans_[i].is("weights")) fail(i, "is the last one; name the class by --class");
    if (p.n_distinct() < 2) fail(i, "a class needs two different values");
    set(i, "string", "class");
    plans_[i].numeric = false;
  }

  void set(std::size_t i, const std::string& type, const char* role) {
    plans_[i] = {plans_[i].name, type, role, "", profiles_[i].is_numeric()};
  }

  /// Says what is replaced, and refuses what could not be told apart afterwards.
  void check_writable(std::size_t i) {
    if (plans_[i].is("ignore") || plans_[i].numeric || profiles_[i].n_replaced() == 0) return;
    const std::string collision = profiles_[i].collision();
    if (!collision.empty()) {
      fail(i, "'" + collision + "' would look as another value when written; see --replace");
    }
    plans_[i].note = std::to_string(profiles_[i].n_replaced()) +
                     " values with separators or line ends, written with '" + rules_.replacement +
                     "'";
  }

  static std::string where(const std::optional<counted_text>& t) {
    return "'" + t->text + "' (line " + std::to_string(t->line) + ")";
  }

  const std::string& file_;
  const std::vector<std::string>& names_;
  const std::vector<column_profile>& profiles_;
  const cell_rules& rules_;
  std::vector<column_plan> plans_;
};

}  // namespace

unsigned long column_of(const std::string& file, const std::vector<std::string>& names,
                        const std::string& wanted) {
  const auto at = std::ranges::find(names, wanted);
  if (at != names.end()) return static_cast<unsigned long>(at - names.begin());
  const std::optional<unsigned long> number = zel::text::parse_whole(wanted);
  if (number && *number >= 1 && *number <= names.size()) return *number - 1;
  throw std::runtime_error(file + ": no column '" + wanted + "'");
}

std::vector<column_plan> plan_columns(const std::string& file,
                                      const std::vector<std::string>& names,
                                      const std::vector<column_profile>& profiles,
                                      const column_wishes& wishes, const cell_rules& rules) {
  return planner(file, names, profiles, rules).plan(wishes);
}

void widen(std::vector<column_plan>& plans, const std::string& file,
           const std::vector<const column_profile*>& others) {
  for (std::size_t i = 0; i < plans.size(); ++i) {
    if (others[i] == nullptr || !plans[i].numeric || plans[i].type == "string") continue;
    if (const auto& text = others[i]->first_text(); text && !plans[i].is("ignore")) {
      throw std::runtime_error(file + ":" + std::to_string(text->line) + ": column '" +
                               plans[i].name + "': not a number: '" + text->text + "'");
    }
    if (plans[i].type == "integer" && others[i]->n_distinct() > 0 && !others[i]->is_whole()) {
      plans[i].type = "double";
    }
  }
}

}  // namespace orvprep
