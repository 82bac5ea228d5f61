// Limits of sets of classes, against what they are worked out to by hand.
#include "impls/decision/conformal.h"

#include <gtest/gtest.h>

#include <limits>

namespace orvik::impls {
namespace {

using steps = std::vector<own_shares::step>;

TEST(share_limit, is_the_share_of_the_row_that_the_promise_needs) {
  steps nine;  // 0.1 .. 0.9: with one more row there are ten
  for (int i = 1; i <= 9; ++i) nine.push_back({i / 10., 1});
  const struct {
    const char* what;
    steps rows;
    double percent, wanted;
  } cases[] = {{"all nine are needed", nine, 90, .1},
               {"eight", nine, 80, .2},
               {"more than eight", nine, 80.1, .1},
               {"more than there are", nine, 90.1, 0},
               {"one", nine, 1, .9},
               {"no rows", {}, 50, 0},
               {"equal shares", {{.5, 1}, {.9, 1}, {.5, 1}, {.5, 1}}, 40, .5},
               {"heavy rows are many", {{.5, 4}, {.9, 5}}, 50, .9},
               {"heavy rows are many", {{.5, 4}, {.9, 5}}, 51, .5},
               {"56 of 100, whatever 0.56 is", {{.9, 56}, {.5, 43}}, 56, .9}};
  for (const auto& [what, rows, percent, wanted] : cases) {
    EXPECT_EQ(share_limit(rows, percent), wanted) << what << ", " << percent;
  }
}

TEST(own_shares, have_a_limit_for_all_classes_or_one_for_each) {
  // Own shares .9, .8, .7 of class 1 and .3 of class 2; of a row of weight 0 and an unknown class
  // none.
  const own_shares own = own_shares::of(
      std::vector<code_t>{1, 1, 2, 1, 1, 0}, std::vector<double>{1, 1, 1, 1, 0, 1},
      std::vector<double>{0, .7, .3, 0, .9, .1, 0, .7, .3, 0, .8, .2, 0, .1, .9, 1, 0, 0}, 3);
  const double none = std::numeric_limits<double>::infinity();
  EXPECT_EQ(own.limits({60, false}), (std::vector<double>{none, .7, .7}));
  EXPECT_EQ(own.limits({80, false}), (std::vector<double>{none, .3, .3}));
  EXPECT_EQ(own.limits({50, true}), (std::vector<double>{none, .8, .3}));
  EXPECT_EQ(own.limits({60, true}), (std::vector<double>{none, .7, 0}));
}

TEST(own_shares, of_very_many_rows_are_thinned_towards_larger_sets) {
  constexpr unsigned long n = 9'000;
  std::vector<code_t> actual(n, 1);
  std::vector<double> weights(n, 1), shares;
  steps all;
  for (unsigned long i = 0; i < n; ++i) {
    const double share = static_cast<double>(i * 7919 % n) / n;
    shares.insert(shares.end(), {0, share});
    all.push_back({share, 1});
  }
  const own_shares own = own_shares::of(actual, weights, shares, 2);
  EXPECT_LE(own.by_class()[1].size(), own_shares::k_most_steps);
  for (const double percent : {.5, 50., 90., 99.9}) {
    const double exact = share_limit(all, percent), kept = own.limits({percent, true})[1];
    EXPECT_LE(kept, exact);
    EXPECT_GT(kept, exact - 2. / own_shares::k_most_steps);
  }
}

}  // namespace
}  // namespace orvik::impls
