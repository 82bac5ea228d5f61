// Lists on a stack against the lists of the columns themselves.
#include <gtest/gtest.h>

#include <algorithm>

#include "impls/support/stock_tables.h"
#include "impls/trees/case_stack.h"

using namespace orvik::impls;

namespace {

template <class Range>
auto list_of(const Range& some) {
  return std::vector<std::ranges::range_value_t<Range>>(some.begin(), some.end());
}

/// Splits the top by the columns from `attribute` on and compares it with what the columns make of
/// `cases`, branch by branch: those below must still be there when the first ones are finished.
void expect_branches(case_stack& stack, const table& t, const case_list& cases,
                     unsigned long attribute) {
  if (attribute == t.n_attributes()) {
    EXPECT_EQ(list_of(stack.top()), list_of(cases));
    stack.pop();
    return;
  }
  const column& tested = t.column_of(attribute);
  if (tested.type() == column::IGNORE) return expect_branches(stack, t, cases, attribute + 1);
  const unsigned long known = tested.values()->size_of_known();
  const bool continuous = tested.type() == column::CONTINUOUS;
  const unsigned long n = continuous ? 2 : known;
  const split_test test = continuous ? split_test::cut_at(0, known / 3) : split_test{};
  double total = 0;
  for (const auto& [row, weight] : cases) total += weight;

  const auto expected = split_cases(tested, test, cases, n, total);
  case_stack twin = stack;
  const std::vector<double> shares = list_of(stack.split(tested, test, n, total));
  const bool shared = tested.values()->has_null();
  ASSERT_TRUE(!shared || shares.size() == n);
  twin.split(tested, test, n, 0, shares);  // the same lists
  for (unsigned long b = 0; b < n; ++b) {
    EXPECT_TRUE(!shared || shares[b] == expected[b].fraction);
    EXPECT_EQ(list_of(twin.top()), list_of(*expected[b].cases));
    twin.pop();
    expect_branches(stack, t, *expected[b].cases, attribute + 1);
  }
}

TEST(case_stack, has_the_lists_of_the_columns_in_their_order) {
  for (const auto& t : {mixed_table(700, 3, true), mixed_table(700, 3, false, /*unknown=*/false)}) {
    std::mt19937_64 draw(1);
    case_list cases;
    for (int i = 0; i < 900; ++i) {
      cases.emplace_back(draw() % 700, 0.1 * static_cast<double>(draw() % 20));
    }
    case_stack stack(cases);
    expect_branches(stack, *t, cases, 0);
  }
}

}  // namespace
