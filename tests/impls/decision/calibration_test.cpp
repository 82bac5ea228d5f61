// Maps of shares to probabilities, against what they are worked out to by hand.
#include "impls/decision/calibration.h"

#include <gtest/gtest.h>

#include <cmath>

namespace orvik::impls {
namespace {

using shares_seen = std::vector<share_seen>;

TEST(isotonic_map, pools_what_falls_and_is_linear_between_the_blocks) {
  // By share: 0 of 1, then 1 of 1, 0 of 1 and 1 of 2, which are one block of a half, then 2 of 2.
  const share_map map = isotonic_map({{.9, true, 2},
                                      {.1, false, 1},
                                      {.4, true, 1},
                                      {.2, true, 1},
                                      {.4, false, 1},
                                      {.3, false, 1}});
  EXPECT_EQ(map.x, (std::vector<double>{.1, .2, .4, .9}));
  EXPECT_EQ(map.y, (std::vector<double>{0, .5, .5, 1}));
  const std::pair<double, double> rows[] = {{0, 0},   {.1, 0},    {.15, .25}, {.2, .5},
                                            {.3, .5}, {.65, .75}, {.9, 1},    {1, 1}};
  for (const auto& [share, wanted] : rows) EXPECT_DOUBLE_EQ(map(share), wanted) << share;
  EXPECT_EQ(isotonic_map({{.7, false, 3}, {.7, true, 1}})(0), .25);
}

TEST(platt_map, reaches_the_targets_where_a_and_b_can) {
  shares_seen rows;  // at 0 one of four is positive, at 1 three of four
  for (const double share : {0., 1.}) {
    for (int i = 0; i < 4; ++i) rows.push_back({share, i < (share == 0 ? 1 : 3), 1});
  }
  const share_map map = platt_map(rows);
  EXPECT_NEAR(map(0), 1. / 3, 1e-8);  // (3 * 1/6 + 5/6) / 4
  EXPECT_NEAR(map(1), 2. / 3, 1e-8);
  // Weights are as many rows; a class without rows, and rows of one share, have a map too.
  const share_map weighed = platt_map({{0, false, 3}, {0, true, 1}, {1, false, 1}, {1, true, 3}});
  EXPECT_NEAR(weighed.a, map.a, 1e-8);
  EXPECT_NEAR(weighed.b, map.b, 1e-8);
  EXPECT_NEAR(platt_map({{.3, false, 8}, {.9, false, 90}})(.5), 1. / 100, 1e-6);
  EXPECT_NEAR(platt_map({{.5, false, 2}, {.5, true, 6}})(.5), (2. / 4 + 6 * 7. / 8) / 8, 1e-6);
}

TEST(platt_map, is_where_the_likelihood_is_flat) {
  shares_seen rows;
  for (int i = 0; i < 500; ++i) {
    const double share = .5 + .5 * std::sin(i * i);
    rows.push_back({share, std::sin(7 * i) < 2 * share - .8, 1 + i % 3 / 2.});
  }
  const share_map map = platt_map(rows);
  double n[2] = {0, 0};
  for (const share_seen& row : rows) n[row.positive] += row.weight;
  double by_a = 0, by_b = 0;
  for (const auto& [share, positive, weight] : rows) {
    const double target = positive ? (n[1] + 1) / (n[1] + 2) : 1 / (n[0] + 2);
    const double miss = weight * (target - 1 / (1 + std::exp(map.a * share + map.b)));
    by_a += share * miss;
    by_b += miss;
  }
  EXPECT_NEAR(by_a, 0, 1e-5);
  EXPECT_NEAR(by_b, 0, 1e-5);
  EXPECT_LT(map.a, 0);  // larger shares are more often positive
}

TEST(calibrator, has_one_map_of_two_classes_and_one_of_each_of_more) {
  const std::vector<code_t> actual = {1, 2, 0, 2, 1};
  const std::vector<double> weights = {1, 1, 9, 0, 1};
  const std::vector<double> two = {0, .8, .2, 0, .4, .6, 0, .5, .5, 0, .9, .1, 0, .5, .5};
  const calibrator one = calibrator::fit(calibration::isotonic, actual, weights, two, 3);
  ASSERT_EQ(one.maps().size(), 1u);
  EXPECT_EQ(one.maps()[0].x, (std::vector<double>{.2, .5, .6}));
  std::vector<double> shares = {.1, .34, .56};
  one.apply(shares);
  EXPECT_NEAR(shares[2], .6, 1e-12);  // between 0 at .5 and 1 at .6
  EXPECT_NEAR(shares[1], .4, 1e-12);
  EXPECT_EQ(shares[0], 0);

  const share_map half{{.5}, {.5}}, rising{{0, 1}, {0, 1}}, nothing{{.5}, {0}};
  const calibrator three(calibration::isotonic, {half, rising, nothing});
  shares = {.25, .25, .5, 0};
  three.apply(shares);
  EXPECT_EQ(shares, (std::vector<double>{0, .5, .5, 0}));
  shares = {0, .25, .25, .5};
  calibrator(calibration::isotonic, {nothing, nothing, nothing}).apply(shares);
  EXPECT_EQ(shares, (std::vector<double>{0, .25, .25, .5}));
  EXPECT_FALSE(calibrator::fit(calibration::plain, actual, weights, two, 3).changes());
}

}  // namespace
}  // namespace orvik::impls
