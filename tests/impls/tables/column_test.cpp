#include "impls/tables/column.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <algorithm>
#include <memory>
#include <random>
#include <stdexcept>
#include <string>
#include <vector>

#include "impls/trees/routing.h"

namespace orvik::impls {
namespace {

using column_owner = std::unique_ptr<column>;
using list_owner = std::unique_ptr<case_list>;
using testing::ElementsAre;
using testing::Pair;

/// The set of the integers 1 to n: value and code are the same number.
std::unique_ptr<o_set> integers(unsigned long n, bool unknown) {
  std::unique_ptr<o_set> set(o_set::NEW_O_SET("integer", true, "?"));
  if (unknown) set->insert("?");
  for (unsigned long i = 1; i <= n; ++i) set->insert(std::to_string(i).c_str());
  set->freeze();
  return set;
}

column_owner over(std::unique_ptr<o_set> values, const std::string& role, std::string& error) {
  column_owner made(column::NEW_COLUMN(values.get(), "c", role, error));
  if (made) static_cast<void>(values.release());  // the column has it now
  return made;
}

/// A column of `codes` over the integers 1 to n.
column_owner column_of(const std::string& role, unsigned long n, bool unknown,
                       const std::vector<code_t>& codes) {
  std::string error;
  column_owner made = over(integers(n, unknown), role, error);
  if (!made) throw std::runtime_error(error);
  made->append(codes);
  return made;
}

TEST(column, takes_the_narrowest_width_that_leaves_one_number_over) {
  const struct {
    const char* role;
    unsigned long n;
    bool unknown;
    unsigned bits;
  } rows[] = {
      {"discrete", 0, false, 1},      {"discrete", 2, false, 1},      {"discrete", 2, true, 8},
      {"discrete", 3, false, 8},      {"continuous", 2, false, 8},    {"class", 2, false, 8},
      {"weights", 1, false, 8},       {"ignore", 2, false, 8},        {"discrete", 254, true, 8},
      {"discrete", 255, false, 16},   {"class", 65534, false, 16},    {"discrete", 65534, true, 16},
      {"discrete", 65535, false, 32}, {"continuous", 65535, true, 32}};
  for (const auto& row : rows) {
    const column_owner c = column_of(row.role, row.n, row.unknown, {});
    EXPECT_EQ(c->codes().bits, row.bits) << row.role << row.n << row.unknown;
    EXPECT_EQ(c->get_type(), row.role);
    // Lowest and highest code survive the width, and the clone's.
    const std::vector<code_t> ends = {row.unknown ? 0UL : 1UL, std::max(row.n, 1UL)};
    c->push_back(ends[0]);
    c->push_back(ends[1]);
    const column_owner copy(c->clone(/*schema_only=*/false)), schema(c->clone(true));
    for (const column* each : {c.get(), copy.get()}) {
      ASSERT_EQ(each->size(), 2u);
      EXPECT_EQ(each->get_row_index(0), ends[0]) << row.role << row.n;
      EXPECT_EQ(each->get_row_index(1), ends[1]) << row.role << row.n;
    }
    EXPECT_EQ(schema->size(), 0u);
    EXPECT_EQ(schema->codes().bits, row.bits);
    EXPECT_EQ(schema->values()->size_of_known(), row.n);
  }
}

TEST(column, roles_and_values_must_fit) {
  const struct {
    const char *role, *type;
    bool unknown;
    const char* error;
  } rows[] = {
      {"class ", "string", false, "Unknown column type: class "},
      {"continuous", "string", false, "Continuous column 'c' requires a numeric/ordered data type"},
      {"continuous", "null", false, "Continuous column 'c' requires a numeric/ordered data type"},
      {"continuous", "ostring:a", false, ""},
      {"class", "string", true, "Class column 'c' does not admit unknown values"},
      {"weights", "string", false, "Weights column 'c' requires a non-negative numeric data type"},
      {"weights", "double", true, "Weights column 'c' does not admit unknown values"},
      {"discrete", "null", false,
       "Null set of column values can only be used for ignore column type"},
      {"ignore", "null", true, ""},
      {"ignore", "string", true, ""},
  };
  for (const auto& row : rows) {
    std::unique_ptr<o_set> values(o_set::NEW_O_SET(row.type, true, "?"));
    if (row.unknown) values->insert("?");
    std::string error;
    const column_owner made = over(std::move(values), row.role, error);
    EXPECT_EQ(error, row.error);
    EXPECT_EQ(made != nullptr, error.empty());
  }
  std::string error;
  EXPECT_EQ(column::NEW_COLUMN(nullptr, "c", "class", error), nullptr);
  EXPECT_EQ(error, "No set of values provided");
  EXPECT_EQ(over(integers(65535, false), "class", error), nullptr);
  EXPECT_EQ(error,
            "Class column c with too many distinct values. Recompil with larger class_type data "
            "type.");
}

// As a column of more than 4,294,967,294 values does, which is more than a test can have.
TEST(column, whose_values_cannot_be_frozen_is_named) {
  struct full_set : o_set {
    using o_set::o_set;
    void freeze() override { throw std::runtime_error("too many distinct values in a column"); }
  };
  column full(column::IGNORE, "x", std::make_unique<full_set>("null", true, "?"));
  EXPECT_THAT([&] { full.freeze_values(); },
              testing::ThrowsMessage<std::runtime_error>(
                  "too many distinct values in a column (column x)"));
}

// Rows 0 to 5 hold 1 2 ? 3 1 3; known weight 1 + 2 + 3 + 4 + 5 of 21.
const std::vector<code_t> k_codes{1, 2, 0, 3, 1, 3};
const case_list k_cases{{0, 1}, {1, 2}, {2, 6}, {3, 3}, {4, 4}, {5, 5}};

TEST(column, no_branch_has_a_share_of_unknown_values_alone) {
  const case_list unknown{{2, 6}};
  for (const char* role : {"discrete", "continuous"}) {
    const column_owner c = column_of(role, 4, true, k_codes);
    double fraction;
    code_range range;
    const list_owner one(c->partition(&unknown, 1, 6, fraction, range, 2));
    EXPECT_EQ(fraction, 0) << role;
    EXPECT_THAT(*one, ElementsAre(Pair(2, 0))) << role;
  }
}

struct drawn_column {
  const char* name;
  const char* role;
  unsigned long n;
  bool unknown;
};
void PrintTo(const drawn_column& row, std::ostream* out) { *out << row.name; }
class column_branches : public testing::TestWithParam<drawn_column> {};

// Random cases of a random column, some rows twice, some missing.
TEST_P(column_branches, divide_the_cases_between_them) {
  const drawn_column& row = GetParam();
  std::mt19937_64 draw(row.n);
  for (int round = 0; round < 20; ++round) {
    std::vector<code_t> codes(200);
    for (code_t& code : codes) code = row.unknown ? draw() % (row.n + 1) : 1 + draw() % row.n;
    const column_owner c = column_of(row.role, row.n, row.unknown, codes);
    case_list cases;
    double total = 0;
    for (int i = 0; i < 150; ++i) {
      cases.emplace_back(draw() % codes.size(), static_cast<double>(1 + draw() % 8) / 4);
      total += cases.back().second;
    }
    const bool continuous = c->type() == column::CONTINUOUS;
    const unsigned long branches = continuous ? 2 : row.n;
    const code_t threshold = 1 + draw() % row.n;

    const split_test test = continuous ? split_test::cut_at(0, threshold) : split_test{};
    const auto split = split_cases(*c, test, cases, branches, total);
    ASSERT_EQ(split.size(), branches);
    case_list selected, known;
    double weight = 0, fractions = 0;
    for (unsigned long b = 1; b <= branches; ++b) {
      double fraction;
      code_range range;
      const list_owner part(c->partition(&cases, b, total, fraction, range, threshold));
      EXPECT_EQ(*part, *split[b - 1].cases);
      EXPECT_EQ(fraction, split[b - 1].fraction);
      EXPECT_EQ(range, split[b - 1].range);
      for (const auto& [at, w] : *part) {
        weight += w;
        if (codes[at] == k_unknown) continue;
        EXPECT_GE(codes[at], range.first);
        EXPECT_LT(codes[at], range.second);
      }
      fractions += fraction;
      EXPECT_EQ(*list_owner(c->select(&cases, b, fraction, threshold, true)), *part);
      const list_owner one(c->select(&cases, b, 1, threshold, false));
      selected.insert(selected.end(), one->begin(), one->end());
    }
    EXPECT_NEAR(weight, total, 1e-9);
    EXPECT_NEAR(fractions, 1, 1e-12);
    std::ranges::copy_if(cases, std::back_inserter(known),
                         [&](const auto& each) { return codes[each.first] != k_unknown; });
    EXPECT_TRUE(std::ranges::is_permutation(selected, known));

    case_list sorted = cases, expected = cases;
    c->sort(sorted.begin(), sorted.end());
    std::ranges::stable_sort(expected, {}, [&](const auto& each) { return codes[each.first]; });
    EXPECT_EQ(sorted, expected);
  }
}

INSTANTIATE_TEST_SUITE_P(of, column_branches,
                         testing::Values(drawn_column{"bits", "discrete", 2, false},
                                         drawn_column{"discrete", "discrete", 5, true},
                                         drawn_column{"wide_discrete", "discrete", 300, true},
                                         drawn_column{"class_values", "class", 3, false},
                                         drawn_column{"continuous", "continuous", 40, true},
                                         drawn_column{"wide_continuous", "continuous", 300, false}),
                         [](const auto& row) { return row.param.name; });

}  // namespace
}  // namespace orvik::impls
