#include <gtest/gtest.h>

#include <algorithm>
#include <cstdint>
#include <random>
#include <sstream>
#include <tuple>

#include "impls/splitting/code_sort.h"
#include "impls/splitting/measure.h"
#include "impls/splitting/random_cut.h"
#include "impls/splitting/split_twin.h"
#include "impls/support/stock_tables.h"
#include "impls/tables/column_bool.h"
#include "impls/tables/column_typed.h"

using namespace orvik::impls;

namespace {

template <class Column>
std::unique_ptr<column> column_of(column::role role, const std::vector<code_t>& codes,
                                  unsigned long n_values) {
  std::unique_ptr<o_set> values(o_set::NEW_O_SET("integer", true, "?"));
  for (unsigned long v = 1; v <= n_values; ++v) values->insert(std::to_string(v).c_str());
  values->freeze();
  auto made = std::make_unique<Column>(role, "column", std::move(values));
  made->append(codes);
  return made;
}

using maker = std::unique_ptr<column> (*)(column::role, const std::vector<code_t>&, unsigned long);
constexpr maker k_widths[] = {column_of<column_typed<std::uint8_t>>,
                              column_of<column_typed<std::uint16_t>>,
                              column_of<column_typed<std::uint32_t>>,
                              column_of<column_typed<std::uint64_t>>, column_of<column_bool>};
constexpr std::size_t k_bool = 4;

/// What the column says.
desc_t ask(const measured& m, column::role role, std::size_t width, bool copy = true) {
  std::vector<code_t> codes, classes;
  case_list cases;
  for (const seen_case& c : m.cases) {
    cases.emplace_back(codes.size(), c.weight);
    codes.push_back(c.code);
    classes.push_back(c.class_code);
  }
  const std::unique_ptr<column> attribute = k_widths[width](role, codes, 0);
  const std::unique_ptr<column> kinds = k_widths[width % 2](column::CLASS, classes, m.n_classes);
  desc_t desc{9, 9, 9, 9};
  attribute->quality_measure(*kinds, m.total(), cases, m.range, m.min_weight, desc, copy);
  return desc;
}

/// What counts say of a cut, cases of weight 1 being counted; only classes that occur have places.
desc_t count(const measured& m) {
  std::vector<std::uint32_t> codes;
  std::vector<counted_case> cases;
  std::vector<splitting::count_t> totals(m.n_classes + 1);
  for (const seen_case& c : m.cases) {
    const auto class_code = static_cast<std::uint16_t>(c.class_code);
    cases.push_back({static_cast<std::uint32_t>(codes.size()), class_code, 1});
    codes.push_back(static_cast<std::uint32_t>(c.code));
    ++totals[class_code];
  }
  std::vector<std::uint16_t> places;
  std::uint16_t n_places = 0;
  for (const splitting::count_t n : totals) places.push_back(n > 0 ? n_places++ : 0);
  std::erase(totals, 0U);
  const splitting::counted_node node{
      {static_cast<splitting::count_t>(cases.size()), m.min_weight, n_places, m.n_classes, m.free},
      cases,
      places.data(),
      totals};
  splitting::scratch<splitting::count_t> s;
  return splitting::measure_in_two<splitting::find_cut>(splitting::entropy(), codes.data(), node,
                                                        m.range, s);
}

/// 1 .. 300 cases of at most `n_codes` codes. Weights: 0 all 1, 1 fractions, 2 fractions and 0.
measured random_cases(std::mt19937_64& draw, unsigned long n_codes, unsigned weights,
                      bool unknown) {
  const auto below = [&draw](unsigned long n) { return draw() % n; };
  const double m[] = {0.001, 0.7, 2, 5};
  const code_t first = 1 + below(3);
  // With many classes most cells are empty.
  measured made{{}, {first, first + n_codes}, m[below(4)], below(4) == 0 ? 60 : 1 + below(4)};
  const unsigned long n = 1 + below(300), noise = 1 + below(6);
  const unsigned long unknown_share = unknown ? 1 + below(5) : 0;
  for (unsigned long i = 0; i < n; ++i) {
    const code_t code = below(10) < unknown_share ? 0 : first + below(n_codes);
    const unsigned long kind = below(noise) == 0 ? below(5 + made.n_classes) : code * 3 / n_codes;
    const double part = static_cast<double>(1 + below(1000)) / 300;
    const double weight = weights == 0 ? 1.0 : weights == 2 && below(3) == 0 ? 0.0 : part;
    made.cases.push_back({code, 1 + kind % made.n_classes, weight});
  }
  return made;
}

void expect_same(const desc_t& got, const desc_t& twin) {
  EXPECT_EQ(got.gain, twin.gain);
  EXPECT_EQ(got.split_info, twin.split_info);
  EXPECT_EQ(got.left_code, twin.left_code);
  EXPECT_EQ(got.right_code, twin.right_code);
}

TEST(split_measures, agree_with_their_definitions_to_the_last_bit) {
  std::mt19937_64 draw(11);
  int found[3] = {};
  for (unsigned round = 0; round < 6000; ++round) {
    SCOPED_TRACE(round);
    const bool boolean = round % 5 == k_bool;
    measured m =
        random_cases(draw, boolean ? 2 : 1 + draw() % 40, round % 3, !boolean && round % 4 > 0);
    if (boolean) {  // no shift of its two codes
      for (seen_case& c : m.cases) c.code -= m.range.first - 1;
      m.range = {1, 3};
    }
    const desc_t discrete = ask(m, column::DISCRETE, round % 5);
    expect_same(discrete, twin_discrete(m));
    found[0] += discrete.gain > column::k_no_gain;
    if (boolean) continue;
    const unsigned long n_codes = m.range.second - m.range.first;
    const bool counts = m.cases.size() / n_codes > 1;
    const desc_t continuous = ask(m, column::CONTINUOUS, round % 4);
    expect_same(continuous, n_codes == 1 ? desc_t{} : counts ? twin_counted(m) : twin_sorted(m));
    found[counts ? 1 : 2] += continuous.gain > 0;
    const bool may_count = round % 3 == 0;
    if (may_count) expect_same(count(m), n_codes == 1 ? desc_t{} : twin_counted(m));
    m.range = m.wide_range();
    const desc_t sorted = ask(m, column::CONTINUOUS, round % 4, /*copy=*/round % 2 == 0);
    expect_same(sorted, twin_sorted(m));
    found[2] += sorted.gain > 0;
    if (may_count) expect_same(count(m), twin_sorted(m));
  }
  for (const int n : found) EXPECT_GT(n, 500);  // most cases must have something to agree on
}

struct cut_row {
  const char* name;
  const char* cases;   // code, class p or q, weight unless 1
  code_t left, right;  // 0: no split
  double gain, split_info;
};
class cuts : public testing::TestWithParam<cut_row> {};

// Each case counts twice, so that there are enough of them to be counted instead of sorted.
TEST_P(cuts, are_the_same_by_counting_and_by_sorting) {
  measured m{{}, {1, 2}, 2.0, 2};
  std::istringstream in(GetParam().cases);
  for (std::string text; in >> text;) {
    std::size_t at = 0;
    const code_t code = std::stoul(text, &at);
    const double weight = at + 1 < text.size() ? std::stod(text.substr(at + 1)) : 1;
    m.cases.insert(m.cases.end(), 2, {code, text[at] == 'p' ? 1UL : 2UL, weight});
    m.range.second = std::max(m.range.second, code + 1);
  }
  for (const code_range& range : {m.range, m.wide_range()}) {
    m.range = range;
    const desc_t desc = ask(m, column::CONTINUOUS, 0);
    EXPECT_EQ(desc.left_code, GetParam().left);
    EXPECT_EQ(desc.right_code, GetParam().right);
    EXPECT_NEAR(desc.gain, GetParam().gain, 1e-6);
    EXPECT_NEAR(desc.split_info, GetParam().split_info, 1e-6);
  }
}

INSTANTIATE_TEST_SUITE_P(
    of, cuts,
    testing::Values(
        // Weight 20, least branch 2: 9 tries, log2(9) / 20 = 0.158496.
        cut_row{"behind_a_pure_run", "1p 2p 3p 4p 5p 6q 7q 8q 9q 10q", 5, 6, 1 - 0.158496, 1},
        // Behind 1 and behind 3 gain 0.311278 each, 3 tries on weight 8.
        cut_row{"lowest_of_equals", "1p 2q 3q 4p", 1, 2, 0.311278 - 0.198120, 0.811278},
        // The same gains around a value of both classes; behind 1 counts, as 2 is not pure.
        cut_row{"before_a_mixed_value", "1p 2p 2q 3q", 1, 2, 0.311278 - 0.125, 0.811278},
        cut_row{"known_weight_below_4", "1p0.975 2q0.975", 0, 0, -0.001, 0},
        cut_row{"known_weight_4", "1p 2q", 1, 2, 1, 1},
        // A third of the weight is unknown: it takes a third of the gain, and is a branch.
        cut_row{"with_unknown", "0p 1p 2q", 1, 2, 2 / 3., 1.584963},
        cut_row{"all_unknown", "0p 0q 0q", 0, 0, -0.001, 0},
        cut_row{"one_class", "1q 2q 3q", 0, 0, -0.001, 0},
        cut_row{"one_code", "3p 3q 3q", 0, 0, -0.001, 0},
        // Two tries on weight 4: a code of weight 0 is a code.
        cut_row{"code_of_weight_0", "1p 2q0 3q", 1, 2, 0.75, 1},
        // Behind 2 the sides' information is 20.7348, behind 0.0008 of weight more 20.7197 of all.
        cut_row{"close_behind_a_worse_one", "1p15 1q2.5 2p0.02 3q0.0004 4p485", 3, 4, 0.0230364,
                0.2182316},
        // No information, but tries that cost.
        cut_row{"no_gain", "1p 1q 2p 2q", 0, 0, -0.001, 0}),
    [](const auto& row) { return row.param.name; });

// 1000 cases, ten a code; codes 1 and 2 are of class 1. A branch needs a tenth of the weight a
// class, 50, but 25 will do, unless 50 is asked for.
TEST(split_measures, let_25_cases_do_for_a_branch) {
  measured m{{}, {1, 101}, 2.0, 2};
  for (code_t i = 0; i < 1000; ++i) m.cases.push_back({1 + i / 10, i / 10 < 2 ? 1UL : 2UL, 1.0});
  for (const code_range& range : {m.range, m.wide_range()}) {
    m.range = range;
    for (const auto& [min_weight, left] : {std::pair{2.0, 3UL}, {49.0, 3UL}, {50.5, 6UL}}) {
      m.min_weight = min_weight;
      EXPECT_EQ(ask(m, column::CONTINUOUS, 0).left_code, left);
    }
  }
}

// One of class 1, 30 of class 2, 20 of class 1, at least 21 in a branch: the first cut comes behind
// both classes. The others lie within the run of class 2: better, but its end would be better
// still.
TEST(split_measures, pass_over_cuts_within_a_run_that_ends_past_the_last) {
  measured m{{}, {1, 52}, 21, 2};
  for (code_t i = 1; i <= 51; ++i) m.cases.push_back({i, i > 1 && i <= 31 ? 2UL : 1UL, 1.0});
  for (const code_range& range : {m.range, m.wide_range()}) {
    m.range = range;
    EXPECT_EQ(ask(m, column::CONTINUOUS, 0).left_code, 21U);
    EXPECT_EQ(count(m).left_code, 21U);
  }
}

TEST(code_sorter, sorts_as_a_stable_sort_does) {
  struct {
    std::size_t n;
    code_t first, n_codes;
  } const rows[] = {{1, 5, 1},           {300, 1, 40},         {511, 7, 1UL << 39},
                    {300, 1, 1UL << 45}, {5000, 3, 700},       {5000, 1, 19999},
                    {5000, 9, 30000},    {5000, 1, 1UL << 33}, {600, 2, (1UL << 63) + 5}};
  using fields = std::tuple<code_t, std::uint32_t, double>;
  splitting::code_sorter sorter;
  std::mt19937_64 draw(3);
  for (const auto& [n, first, n_codes] : rows) {
    std::vector<fields> expected, sorted;
    sorter.start(n);
    for (std::size_t i = 0; i < n; ++i) {
      const code_t code = first + draw() % n_codes % (i % 3 == 0 ? 17 : n_codes);
      expected.emplace_back(code, static_cast<std::uint32_t>(i), 0.5);
      sorter.add(code, static_cast<std::uint32_t>(i), 0.5);
    }
    std::stable_sort(expected.begin(), expected.end(), [](const fields& a, const fields& b) {
      return std::get<0>(a) < std::get<0>(b);
    });
    for (const auto& c : sorter.sorted({first, first + n_codes})) {
      sorted.emplace_back(c.code, c.place, c.weight);
    }
    EXPECT_TRUE(sorted == expected) << n << " cases of " << n_codes << " codes";
  }
}

/// Of 3000 cuts between the values of a set, how many are at each code.
std::vector<int> drawn_cuts(const char* type, const std::vector<const char*>& values) {
  const std::unique_ptr<o_set> set(o_set::NEW_O_SET(type, true, "?"));
  for (const char* value : values) set->insert(value);
  set->freeze();
  std::vector<int> at(values.size() + 1);
  zel::util::quick_gen draw(7);
  for (int i = 0; i < 3000; ++i) ++at[splitting::draw_cut(*set, 1, values.size(), draw)];
  return at;
}

TEST(drawn_cuts, go_by_numbers_and_among_ordered_texts_by_places) {
  const std::vector<int> numbers = drawn_cuts("integer", {"0", "1", "10"});
  EXPECT_EQ(numbers[1] + numbers[2], 3000);
  EXPECT_NEAR(numbers[1], 300, 100);
  const std::vector<int> texts = drawn_cuts("ostring:d;c;b;a", {"a", "b", "c", "d"});
  for (code_t code = 1; code < 4; ++code) EXPECT_NEAR(texts[code], 1000, 150);
}

}  // namespace
