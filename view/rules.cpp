#include "rules.h"

#include <algorithm>
#include <cassert>
#include <functional>

#include "wording.h"
#include "zel/text/decimal.h"

namespace orvik::view {

using orvik::branch_test;

namespace {

/// The conditions of the way from the root to a node.
class path_conditions {
 public:
  /// Adds a test below as many others; those below them are left.
  void enter(unsigned long tests_before, const branch_test& test);
  const std::vector<condition>& all() const { return conditions_; }

 private:
  void leave();

  struct step {
    std::size_t place;  // in conditions_
    std::optional<condition> before;
  };
  std::vector<condition> conditions_;
  std::vector<step> steps_;
};

/// A later test on the way is the tighter one: no case that breaks an earlier one comes there.
void path_conditions::enter(unsigned long tests_before, const branch_test& test) {
  while (steps_.size() > tests_before) leave();
  assert(steps_.size() == tests_before);
  const unsigned long column = test.tested.index();
  const auto at = std::ranges::find(conditions_, column, &condition::column);
  const auto place = static_cast<std::size_t>(at - conditions_.begin());
  if (at == conditions_.end()) {
    steps_.push_back({place, std::nullopt});
    conditions_.push_back({column});
  } else {
    steps_.push_back({place, *at});
  }
  condition& c = conditions_[place];
  if (test.how == branch_test::EQUAL) c.equals = test.code;
  if (test.how == branch_test::OTHER) c.others.push_back(test.code);
  if (test.how == branch_test::ABOVE) c.above = std::max(test.code, c.above.value_or(0));
  if (test.how == branch_test::UP_TO) c.up_to = std::min(test.code, c.up_to.value_or(test.code));
}

void path_conditions::leave() {
  assert(!steps_.empty());
  const step last = steps_.back();
  steps_.pop_back();
  if (last.before) {
    conditions_[last.place] = *last.before;
  } else {
    conditions_.pop_back();
  }
}

/// How the text forms write a rule: values printed or exact.
class rule_texts {
 public:
  rule_texts(const chosen_tree& chosen, bool exact)
      : schema_(chosen.schema()), words_(chosen.model), exact_(exact) {}

  const wording& words() const { return words_; }
  std::string class_name(const rule& r) const { return words_.class_name(r.leaf.predicted()); }
  /// "humidity <= 75", "65 < humidity <= 75"
  std::string of(const condition& c) const;

 private:
  std::string value(const condition& c, orvik::code_t code) const {
    const orvik::column_view column = schema_.column(c.column);
    return words_.utf8(exact_ ? column.exact(code) : column.printed(code));
  }

  orvik::schema_view schema_;
  wording words_;
  bool exact_;
};

std::string rule_texts::of(const condition& c) const {
  const std::string& name = words_.column_name(c.column);
  if (c.equals) return name + " = " + value(c, *c.equals);
  if (!c.others.empty()) {
    std::string text;
    for (const orvik::code_t code : c.others) {
      text += (text.empty() ? "" : " and ") + name + " != " + value(c, code);
    }
    return text;
  }
  if (c.above && c.up_to) return value(c, *c.above) + " < " + name + " <= " + value(c, *c.up_to);
  return name + (c.above ? " > " + value(c, *c.above) : " <= " + value(c, *c.up_to));
}

}  // namespace

std::vector<rule> rules_of(const chosen_tree& chosen) {
  require_plain_shares(chosen.model, "the list of rules");
  std::vector<rule> rules;
  path_conditions path;
  for (const orvik::placed_node& at : nodes_of(chosen.root())) {
    if (at.level > 0) path.enter(at.level - 1, at.node.test_before());
    if (at.node.is_leaf()) rules.push_back({at.node, path.all()});
  }
  std::stable_partition(rules.begin(), rules.end(), std::mem_fn(&rule::has_cases));
  return rules;
}

void write_rules_text(const chosen_tree& chosen, std::ostream& out) {
  constexpr double k_percent = 100;
  const rule_texts texts(chosen, /*exact=*/false);
  const std::string& target = texts.words().column_name(chosen.schema().class_column().index());
  unsigned long number = 0;
  for (const rule& r : rules_of(chosen)) {
    if (number > 0) out << '\n';
    out << ++number << ". " << shown_text(target + " = " + texts.class_name(r)) << " (";
    if (r.has_cases()) {
      out << r.leaf.printed_counts() << "), confidence "
          << zel::text::one_decimal(r.confidence() * k_percent) << " %\n";
    } else {
      out << k_no_cases << ")\n";
    }
    for (const condition& c : r.conditions) out << "   " << shown_text(texts.of(c)) << '\n';
  }
}

void write_rules_csv(const chosen_tree& chosen, std::ostream& out) {
  const rule_texts texts(chosen, /*exact=*/true);
  const std::vector<rule> rules = rules_of(chosen);  // before anything is written
  unsigned long number = 0;
  out << "rule,class,support,confidence,conditions\r\n";
  for (const rule& r : rules) {
    std::string conditions;
    for (const condition& c : r.conditions) {
      conditions += (conditions.empty() ? "" : " and ") + texts.of(c);
    }
    out << ++number << ',' << csv_field(texts.class_name(r)) << ','
        << zel::text::shortest_decimal(r.support()) << ','
        << (r.has_cases() ? zel::text::shortest_decimal(r.confidence()) : "") << ','
        << csv_field(conditions) << "\r\n";
  }
}

}  // namespace orvik::view
