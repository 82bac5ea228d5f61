// The case lists that a table makes, and their parts and folds.
#include "impls/tables/folds.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <algorithm>
#include <memory>
#include <random>
#include <stdexcept>
#include <string>

#include "impls/support/table_text.h"
#include "zel/util/seed.h"

namespace orvik::impls {
namespace {

using list_owner = std::unique_ptr<case_list>;
using testing::ElementsAre;
using testing::Pair;

/// One row a letter, the letter being its class.
std::unique_ptr<table> table_of(const std::string& classes) {
  std::string data;
  for (const char c : classes) data += std::string(1, c) + "\n";
  return make_table("c,string,class\n", data);
}

std::string classes_of(const table& t, const case_list& cases) {
  std::string classes;
  for (const auto& each : cases) classes += t.get_class(each.first);
  return classes;
}

case_list sorted(case_list cases) {
  std::ranges::sort(cases);
  return cases;
}

std::string thrown_pointer(const std::function<void()>& call) {
  try {
    call();
  } catch (std::runtime_error* error) {
    return std::unique_ptr<std::runtime_error>(error)->what();
  }
  return "nothing thrown";
}

TEST(folds, get_the_classes_dealt_out_in_turn) {
  const struct {
    const char *classes, *dealt;
    unsigned long k;
  } rows[] = {{"AABB", "ABAB", 2},   {"BBAA", "ABAB", 2},       {"AAABB", "AAABB", 9},
              {"AAABB", "AABAB", 2}, {"ABCABCA", "ABCABAC", 3}, {"BA", "AB", 1}};
  for (const auto& row : rows) {
    const auto t = table_of(row.classes);
    const list_owner cases(t->get_all());
    EXPECT_EQ(stratify_cross(*cases, row.k, *t, false), cases->size() / row.k);
    EXPECT_EQ(classes_of(*t, *cases), row.dealt) << row.classes << row.k;
  }
}

std::string draw_classes(std::mt19937_64& draw) {
  std::string classes = "abc";
  for (auto more = draw() % 60; more > 0; --more) classes += "aaaabbc"[draw() % 7];
  return classes;
}

TEST(folds, hold_even_shares_of_every_class) {
  std::mt19937_64 draw(23);
  for (int round = 0; round < 200; ++round) {
    const auto t = table_of(draw_classes(draw));
    const list_owner all(t->get_all());
    case_list cases = *all;
    const unsigned long k = 1 + draw() % 12;
    stratify_cross(cases, k, *t, round % 2 == 1);
    EXPECT_EQ(sorted(cases), *all);
    for (const char c : {'a', 'b', 'c'}) {
      unsigned long least = cases.size(), most = 0;
      for (unsigned long i = 0; i < k; ++i) {
        const unsigned long begin = fold_begin(cases.size(), k, i);
        const list_owner fold(cases.select(begin, fold_end(cases.size(), k, i) - begin, false));
        const auto held = static_cast<unsigned long>(std::ranges::count(classes_of(*t, *fold), c));
        least = std::min(least, held);
        most = std::max(most, held);
      }
      EXPECT_LE(most - least, 1u) << c << k;
    }
  }
}

TEST(samples, of_nothing_everything_and_too_much) {
  const auto t = table_of("abababab");
  const list_owner all(t->get_all());
  case_list cases = *all, none;
  EXPECT_EQ(stratify(cases, 0, *t, false), 0u);
  EXPECT_EQ(stratify(cases, 8, *t, false), 8u);
  EXPECT_EQ(stratify(none, 0, *t, true), 0u);
  EXPECT_EQ(stratify_cross(none, 3, *t, true), 0u);
  EXPECT_EQ(cases, *all);
  const char message[] = "stratify input must be in [0,size]";
  EXPECT_EQ(thrown_pointer([&] { stratify(cases, 9, *t, true); }), message);
  EXPECT_EQ(thrown_pointer([&] { stratify(none, 1, *t, true); }), message);
  for (const double frac : {-.001, 1.001, std::nan("")}) {
    EXPECT_EQ(thrown_pointer([&] { stratify_frac(cases, frac, *t, true); }),
              "stratify_frac input must be in [0,1]");
  }
  EXPECT_EQ(cases, *all);

  zel::util::set_seed(1);  // shuffled wholly: with this seed not into the order it had
  EXPECT_EQ(stratify(cases, 8, *t, true), 8u);
  zel::util::clear_seed();
  EXPECT_NE(cases, *all);
  EXPECT_EQ(sorted(cases), *all);
}

TEST(subsets, difference_is_every_other_row) {
  const auto t = make_table("w,,weights\nc,string,class\n", "2,x\n0,y\n.5,x\n1,y\n");
  const struct {
    case_list held, others;
  } rows[] = {
      {{}, {{0, 2}, {1, 0}, {2, .5}, {3, 1}}},
      {{{3, 9}, {0, 9}, {1, 9}, {0, 9}, {0, 9}}, {{2, .5}}},
      {{{2, 1}, {1, 1}, {0, 1}, {3, 1}}, {}},
      {{{3, 1}}, {{0, 2}, {1, 0}, {2, .5}}},
  };
  for (auto [held, others] : rows) {
    EXPECT_EQ(*list_owner(t->get_difference(held)), others);
    EXPECT_TRUE(std::ranges::is_sorted(held, {}, &case_list::value_type::first));
  }
}

}  // namespace
}  // namespace orvik::impls
