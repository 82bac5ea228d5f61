// Models whose shares are calibrated, and sets of classes: the same from every side, kept in files.
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <cmath>
#include <sstream>

#include "impls/model/dtree.h"
#include "impls/support/stock_tables.h"
#include "orvik/orvik.h"
#include "support/error_of.h"
#include "zel/util/seed.h"

namespace orvik {
namespace {

struct learner {
  const char* name;
  void (*set)(dtree&);
};

std::ostream& operator<<(std::ostream& out, const learner& of) { return out << of.name; }

constexpr learner k_learners[] = {{"tree", [](dtree&) {}},
                                  {"bagged", [](dtree& m) { m.set_forest(false, true, 6); }},
                                  {"forest_of_shares",
                                   [](dtree& m) {
                                     m.set_forest(true, false, 6);
                                     m.set_combination(combination::shares);
                                   }},
                                  {"boosted", [](dtree& m) { m.set_boosting(4); }},
                                  {"all_rows_in_every_bag", [](dtree& m) {
                                     m.set_forest(false, true, 3);
                                     m.set_resampling({1, false, false});
                                   }}};

class calibrated_models : public testing::TestWithParam<learner> {
 protected:
  std::unique_ptr<dtree> grow(calibration how) {
    zel::util::set_seed(5);
    auto model = std::make_unique<dtree>("t");
    GetParam().set(*model);
    model->set_calibration(how);
    model->build(&table_, nullptr);
    zel::util::clear_seed();
    return model;
  }

  table table_{impls::mixed_table(400, 3, /*weighted=*/true)};
};

INSTANTIATE_TEST_SUITE_P(of, calibrated_models, testing::ValuesIn(k_learners),
                         [](const auto& of) { return of.param.name; });

// The class is the first of the largest shares wherever it is asked for, shares sum up to 1, and
// those before calibration are the ones that the model has without it.
TEST_P(calibrated_models, predict_the_class_of_the_largest_share) {
  const auto model = grow(calibration::isotonic);
  const auto plain = grow(calibration::plain);
  EXPECT_TRUE(model->is_calibrated());
  EXPECT_FALSE(plain->is_calibrated());
  const std::unique_ptr<table::subset> all(table_.get_wsubset_all());
  judged_rows rows;
  const std::unique_ptr<conf_matrix> matrix(model->test(&table_, all.get(), rows));
  const std::size_t k = rows.classes.size();
  ASSERT_EQ(rows.plain.size(), rows.shares.size());
  double changed = 0;
  for (row_t i = 0; i < rows.size(); ++i) {
    const auto own = rows.shares.begin() + static_cast<long>(i * k);
    EXPECT_EQ(rows.predicted[i], static_cast<code_t>(std::max_element(own, own + 4) - own));
    EXPECT_NEAR(std::accumulate(own, own + 4, 0.0), 1, 1e-12);
    std::vector<code_t> codes;
    const schema_view schema = model->get_schema();
    for (unsigned long a = 0; a < schema.n_attributes(); ++a) {
      codes.push_back(table_.get_impl()->column_of(a).get_row_index(all->get_impl()->at(i).first));
    }
    std::vector<double> shares, before;
    const dtree::prediction one = model->predict_codes(codes, 1, shares, before).at(0);
    EXPECT_EQ(one.class_code, rows.predicted[i]);
    EXPECT_EQ(one.confidence, shares[one.class_code]);
    for (code_t c = 0; c < k; ++c) {
      EXPECT_NEAR(shares[c], own[static_cast<long>(c)], 1e-12);
      EXPECT_NEAR(before[c], rows.plain[i * k + c], 1e-12);
      changed += std::abs(before[c] - shares[c]);
    }
  }
  EXPECT_GT(changed, 1);
}

TEST_P(calibrated_models, are_read_as_they_were_written) {
  for (const calibration how : {calibration::plain, calibration::isotonic, calibration::platt}) {
    const auto model = grow(how);
    const std::unique_ptr<dtree> read(dtree::from_bytes(model->to_bytes()));
    EXPECT_EQ(read->get_calibration(), how);
    EXPECT_EQ(read->get_share_maps(), model->get_share_maps());
    for (const set_request asked : {set_request{90, false}, {60, true}}) {
      EXPECT_EQ(read->get_set_limits(asked), model->get_set_limits(asked));
    }
    EXPECT_EQ(read->to_bytes(), model->to_bytes());
    EXPECT_NE(grow(calibration::none)->to_bytes(), model->to_bytes());
  }
}

/// Twenty rows, x tells the class of three in four.
table twenty_rows() {
  std::string data;
  for (int i = 0; i < 20; ++i) data += i % 2 == 0 ? i % 8 == 0 ? "p,b\n" : "p,a\n" : "q,b\n";
  return table(impls::make_table("x,string,discrete\nk,string,class\n", data));
}

// Of the rows that limits are learned from, so many are covered as the promise needs of all and one
// more. A is right with 7 of 10, b with all.
TEST(sets, cover_the_rows_they_were_learned_from) {
  table t = twenty_rows();
  dtree model("t");
  model.set_pruning_strategy(model::NO_PRUNING);
  model.build(&t, nullptr);
  model.set_calibration(calibration::plain);
  const std::unique_ptr<table::subset> all(t.get_wsubset_all());
  judged_rows rows;
  const std::unique_ptr<conf_matrix> matrix(model.test(&t, all.get(), rows));
  model.calibrate(rows);
  const auto figures = set_figures_of(rows, model.get_set_limits({80, false}));
  ASSERT_EQ(figures.size(), 3u);
  EXPECT_DOUBLE_EQ(figures[0].covered, 17. / 20);  // 3 of b at p have a share of 0.3
  EXPECT_DOUBLE_EQ(figures[0].size, 1);
  EXPECT_DOUBLE_EQ(figures[1].covered, 1);
  EXPECT_DOUBLE_EQ(figures[2].covered, 10. / 13);
  const auto wide = set_figures_of(rows, model.get_set_limits({90, false}));
  EXPECT_DOUBLE_EQ(wide[0].covered, 1);
  EXPECT_DOUBLE_EQ(wide[0].size, 1.5);
  EXPECT_DOUBLE_EQ(set_figures_of(rows, model.get_set_limits({99, true}))[0].size, 2);
  const judged_rows without_b{{"?", "a", "b", "c"},
                              {0, 1, 3},
                              {1, 1, 3},
                              {1, 1, 1},
                              {0, .9, .1, 0, 0, .5, .2, .3, 0, .1, .2, .7},
                              1};
  EXPECT_EQ(set_figures_of(without_b, {9, .4, .4, .4}).back().name, "c");
  std::vector<double> limits = {9, .2, .3, .3};
  const std::vector<double> shares = {0, .2, .3, .5};
  EXPECT_EQ(set_text({"?", "a|b", "c\\", "d"}, shares.data(), limits), "a\\|b|c\\\\|d");
  limits[1] = .25;
  EXPECT_EQ(set_text({"?", "a|b", "c", "d"}, shares.data(), limits), "c|d");
}

TEST(calibration, is_refused_where_there_is_nothing_to_learn) {
  table t = twenty_rows();
  dtree model("t");
  model.build(&t, nullptr);
  judged_rows none, other;
  other.classes = {"?", "a"};
  other.actual = {1};
  const struct {
    std::function<void()> act;
    const char* error;
  } rows[] = {
      {[&] {
         static_cast<void>(model.get_set_limits({90, false}));
       },
       "the model cannot give sets: it was trained without -calibrate, -sets or --calibrate"},
      {[&] {
         static_cast<void>(model.get_set_limits({100, false}));
       },
       "sets need a percentage between 0 and 100"},
      {[&] { model.calibrate(&t, nullptr); }, "the model was not told how to calibrate"},
      {[&] { model.set_calibration(calibration::platt); }, nullptr},
      {[&] { model.calibrate(none); }, "there are no rows of known class to calibrate on"},
      {[&] { model.calibrate(other); },
       "the rows to calibrate on are of other classes than the model"},
      {[&] { model.calibrate(&t, nullptr); }, nullptr},
      {[&] {
         std::ostringstream out;
         model.toPMML(out);
       },
       "PMML has no place for calibrated shares"}};
  for (const auto& [act, error] : rows) {
    EXPECT_EQ(error_of(act), error == nullptr ? "" : error);
  }
}

}  // namespace
}  // namespace orvik
