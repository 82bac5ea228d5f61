// Figures of predictions, against what they are worked out to by hand.
#include "orvik/metrics.h"

#include <gtest/gtest.h>

#include <cmath>
#include <sstream>

namespace orvik {
namespace {

/// Five rows of two classes, one of weight 2, one of unknown class; shares of both.
judged_rows five_rows() {
  return {{"?", "no", "yes"},
          {1, 2, 2, 1, 0},
          {1, 2, 1, 2, 2},
          {1, 2, 1, 1, 7},
          {0, .8, .2, 0, .1, .9, 0, .6, .4, 0, .4, .6, 0, .5, .5}};
}

TEST(metrics, are_those_worked_out_by_hand) {
  const metrics all = metrics_of(five_rows(), "five rows");
  EXPECT_EQ(all.n_rows, 4u);
  EXPECT_EQ(all.n_unknown, 1u);
  const class_metrics &no = all.classes.at(0), &yes = all.classes.at(1);
  const double inf = std::numeric_limits<double>::infinity();
  const struct {
    const char* what;
    double own, wanted;
  } rows[] = {
      {"weight", all.weight, 5},
      {"accuracy", all.accuracy, 3.0 / 5},
      {"balanced", all.balanced_accuracy, (1.0 / 2 + 2.0 / 3) / 2},
      // Chance: no 2/5 * 2/5, yes 3/5 * 3/5.
      {"kappa", all.kappa, (3.0 / 5 - 13.0 / 25) / (1 - 13.0 / 25)},
      {"log-loss", all.log_loss, -(std::log(.8) + 2 * std::log(.9) + 2 * std::log(.4)) / 5},
      {"brier", all.brier, 2 * (.04 + 2 * .01 + .36 + .36) / 5},
      {"precision", yes.precision, 2.0 / 3},
      {"recall", no.recall, 1.0 / 2},
      {"f1", no.f1, 1.0 / 2},
      {"support", yes.support, 3},
      {"mean f1", all.mean.f1, (1.0 / 2 + 2.0 / 3) / 2},
      {"f1 by support", all.weighted_mean.f1, (2 * 1.0 / 2 + 3 * 2.0 / 3) / 5},
      // By shares of yes: .9 (yes, weight 2), .6 (no), .4 (yes), .2 (no).
      {"ROC area", yes.roc_area, 1.0 / 2 * 2 / 3 + 1.0 / 2},
      {"ROC area of no", no.roc_area, yes.roc_area},
      {"average precision", yes.average_precision, 2.0 / 3 + 1.0 / 3 * 3 / 4},
      {"ROC begins", yes.roc.at(0).threshold, inf},
      {"ROC rises", yes.roc.at(1).y, 2.0 / 3},
      {"ROC ends", yes.roc.back().x, 1},
      {"recall ends", yes.precision_recall.back().x, 1},
      {"reliability", yes.reliability.back().frequency, 1},
      {"reliability", yes.reliability.back().weight, 2},
      // Weights 1, 2, 1, 1 say as much as 25/7 rows alike; 0.6 of them, by the formula.
      {"from", all.accuracy_from, 0.191728},
      {"to", all.accuracy_to, 0.904629},
  };
  for (const auto& [what, own, wanted] : rows) {
    if (std::isinf(wanted)) {
      EXPECT_EQ(own, wanted) << what;
    } else {
      EXPECT_NEAR(own, wanted, 1e-6) << what;
    }
  }
  judged_rows twice = five_rows();
  append(twice, five_rows());
  twice.times = 2;
  EXPECT_DOUBLE_EQ(metrics_of(twice, "").accuracy_from, all.accuracy_from);
}

// Rows by their share of yes: three of yes, two of no, two of yes, one of no; the straight lines
// between have no points.
TEST(metrics, curves_have_their_corners_only) {
  const metrics all = metrics_of(
      {{"?", "no", "yes"},
       {2, 2, 2, 1, 1, 2, 2, 1},
       {2, 2, 2, 2, 1, 1, 1, 1},
       {1, 1, 1, 1, 1, 1, 1, 1},
       {0, .1, .9, 0, .2, .8, 0, .3, .7, 0, .4, .6, 0, .5, .5, 0, .6, .4, 0, .7, .3, 0, .8, .2}},
      "eight rows");
  std::ostringstream corners;
  for (const curve_point& p : all.classes.at(1).roc) corners << 3 * p.x << "," << 5 * p.y << " ";
  EXPECT_EQ(corners.str(), "0,0 0,3 2,3 2,5 3,5 ");
  const metrics two = metrics_of(
      {{"?", "no", "yes"}, {2, 1}, {2, 1}, {1, 1}, {0, .1, .9, 0, .8, .2}}, "one row of either");
  EXPECT_EQ(two.classes.at(1).roc_area, 1);
}

TEST(metrics, count_a_border_to_the_tenth_below_it) {
  const metrics all = metrics_of(
      {{"?", "no", "yes"}, {1, 2, 1}, {1, 1, 1}, {1, 1, 1}, {0, .95, .05, 0, .9, .1, 0, .85, .15}},
      "three rows");
  const auto& bins = all.classes.at(1).reliability;
  ASSERT_EQ(bins.size(), 2u);
  EXPECT_EQ(bins[0].weight, 2);
  EXPECT_EQ(bins[0].frequency, 0.5);
  EXPECT_NEAR(bins[0].share, 0.075, 1e-12);
}

TEST(metrics, of_nothing_and_of_one_class_are_no_numbers) {
  const metrics none = metrics_of({{"?", "a"}, {}, {}, {}, {}, 1}, "no rows");
  EXPECT_TRUE(std::isnan(none.accuracy) && std::isnan(none.log_loss) && none.classes.empty());
  const metrics one = metrics_of({{"?", "a", "b"}, {1}, {1}, {1}, {0, 1, 0}, 1}, "one row");
  EXPECT_TRUE(std::isnan(one.classes.at(0).roc_area) && one.classes.at(0).roc.empty());
  EXPECT_EQ(one.classes.at(0).average_precision, 1);
  EXPECT_NEAR(one.log_loss, 0, 1e-15);
  EXPECT_NEAR(one.accuracy_from, 1 / (1 + 1.959964 * 1.959964), 1e-6);
  // A class that some part of a row is taken for has figures, if no row is of it, but no recall.
  const metrics taken = metrics_of({{"?", "a", "b"}, {1, 1}, {1, 2}, {1, .5}, {}, 1}, "");
  EXPECT_EQ(taken.classes.size(), 2u);
  EXPECT_NEAR(taken.balanced_accuracy, 2. / 3, 1e-15);
  std::ostringstream text, json;
  write_metrics_text(one, text);
  write_metrics_json({none, one}, json);
  EXPECT_NE(text.str().find("FIGURES of one row: 1 rows\n"), std::string::npos);
  EXPECT_NE(json.str().find("\"accuracy\":null"), std::string::npos);
  EXPECT_EQ(json.str().find("plain"), std::string::npos);  // nothing was calibrated
}

}  // namespace
}  // namespace orvik
