#include "impls/rendering/description.h"

#include <set>

#include "zel/text/decimal.h"
#include "zel/util/string_util.h"

namespace orvik::impls {

using zel::util::string_util::is_utf8;

branch_test test_of_branch(const table& t, const decision_node& split, unsigned long branch) {
  const column& tested = t.column_of(split.attribute());
  const split_test& test = split.test();
  if (test.is_one_value()) {
    return {&tested, branch == 0 ? branch_test::EQUAL : branch_test::OTHER, test.code};
  }
  if (tested.type() == column::DISCRETE) return {&tested, branch_test::EQUAL, branch + 1};
  if (tested.type() != column::CONTINUOUS) return {&tested, branch_test::UNHANDLED, k_unknown};
  if (branch > 1) return {&tested, branch_test::UNKNOWN, test.code};
  return {&tested, branch == 0 ? branch_test::UP_TO : branch_test::ABOVE, test.code};
}

std::string printed_test(const branch_test& test) {
  const std::string& name = test.tested->name();
  switch (test.how) {
    case branch_test::EQUAL:
      return name + " = " + test.printed_value();
    case branch_test::OTHER:
      return name + " != " + test.printed_value();
    case branch_test::UP_TO:
      return name + " <= " + test.printed_value();
    case branch_test::ABOVE:
      return name + " > " + test.printed_value();
    case branch_test::UNKNOWN:
      return name + " unknown " + test.printed_value();
    case branch_test::UNHANDLED:
      break;
  }
  return name + " # unhandled type " + test.tested->get_type();
}

std::string printed_counts(const decision_node& leaf) {
  using zel::text::one_decimal;
  const double errors = leaf.estimated_error();
  return one_decimal(leaf.weight()) + (errors > 0 ? '/' + one_decimal(errors) : "");
}

namespace {

bool is_utf8_column(const column& c) {
  if (!is_utf8(c.name()) || !is_utf8(c.values()->null_value())) return false;
  if (!lists_values(c) || c.values()->is_numeric()) return true;
  for (code_t code = 1; code <= c.values()->size_of_known(); ++code) {
    if (!is_utf8(c.values()->get_value(code))) return false;
  }
  return true;
}

}  // namespace

std::vector<std::string> unique_names(const table& t) {
  std::vector<std::string> names;
  std::set<std::string> taken;
  for (unsigned long i = 0; i < t.n_columns(); ++i) taken.insert(t.get_column(i).name());
  std::set<std::string> given;
  for (unsigned long i = 0; i < t.n_columns(); ++i) {
    std::string name = t.get_column(i).name();
    while (given.contains(name) || (name != t.get_column(i).name() && taken.contains(name))) {
      name += " #" + std::to_string(i + 1);
    }
    given.insert(name);
    names.push_back(std::move(name));
  }
  return names;
}

text_encoding encoding_of(const table& t, const std::string& model_name) {
  bool utf8 = is_utf8(model_name);
  for (unsigned long i = 0; utf8 && i < t.n_columns(); ++i) utf8 = is_utf8_column(t.get_column(i));
  return utf8 ? text_encoding::UTF_8 : text_encoding::LATIN_1;
}

}  // namespace orvik::impls
