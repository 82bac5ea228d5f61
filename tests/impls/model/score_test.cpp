// One row of texts, and the shares of the classes.
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <sstream>

#include "impls/model/dtree.h"
#include "impls/support/stock_tables.h"
#include "orvik/orvik.h"

namespace orvik::impls {
namespace {

using testing::ElementsAre;
using texts = std::vector<std::string>;

/// One split, on x: p leads to 3 of a, q to 1 of a and 4 of b.
std::unique_ptr<dtree> small_model() {
  const auto t = make_table("x,string,discrete\nnote,string,ignore\nk,string,class\n",
                            "p,1,a\np,2,a\np,3,a\nq,4,b\nq,5,b\nq,6,b\nq,7,b\nq,8,a\n");
  auto model = std::make_unique<dtree>("t");
  model->set_pruning_strategy(model::NO_PRUNING);
  const std::unique_ptr<case_list> all(t->get_all());
  model->build(t.get(), all.get());
  return model;
}

std::string score_lines(const dtree& model, const std::string& rows) {
  dripping_text text(rows, dripping_text::k_all);
  zel::inpout::stream in(&text, ',', /*owns=*/false);
  std::ostringstream out;
  unsigned long n = 0;
  model.score(&in, out, n, ',', /*probabilities=*/true, nullptr);
  return out.str();
}

// An unknown x goes down both branches: a has 3/8 + 5/8 * 1/5, b has 5/8 * 4/5.
TEST(class_shares, are_those_of_the_leaves_reached) {
  const auto model = small_model();
  EXPECT_EQ(score_lines(*model, "p,-\nq,-\n?,-\n"), "a,1,1,0\nb,0.8,0.2,0.8\na,0.5,0.5,0.5\n");
  decision_tree::prediction result;
  std::vector<double> shares;
  EXPECT_EQ(model->predict({"?", ""}, 2.0, result, &shares), 2.0);
  EXPECT_THAT(shares, ElementsAre(0, 0.5, 0.5));
  EXPECT_EQ(result, decision_tree::prediction(1, 1.0));  // the weight is in the confidence
}

TEST(class_shares, of_an_ensemble_are_the_mean_over_its_trees) {
  const auto t = mixed_table(400, 3, /*weighted=*/false);
  dtree model("t");
  model.set_forest(true, false, 5);
  const std::unique_ptr<case_list> all(t->get_all());
  model.build(t.get(), all.get());
  std::vector<code_t> codes(t->n_attributes());
  for (row_t row = 0; row < 50; ++row) {
    for (unsigned long a = 0; a < codes.size(); ++a) codes[a] = t->column_of(a).get_row_index(row);
    std::vector<double> shares, expected(t->n_class_codes());
    model.predict_distribution(codes, shares);
    for (unsigned long i = 0; i < model.n_trees(); ++i) {
      std::vector<double> one(t->n_class_codes());
      model.get_tree(i).predict_distribution(*t, codes, one, 1.0, 0);
      for (std::size_t c = 0; c < one.size(); ++c) expected[c] += one[c] / 5;
    }
    double sum = 0;
    for (std::size_t c = 0; c < shares.size(); ++c) {
      EXPECT_NEAR(shares[c], expected[c], 1e-12);
      sum += shares[c];
    }
    EXPECT_NEAR(sum, 1, 1e-12);
  }
}

TEST(row_of_texts, is_coded_by_attribute) {
  const auto model = small_model();
  std::vector<code_t> codes{7, 7, 7, 7};
  for (const texts& row : {texts{"q", "new"}, texts{"q", "", "class"}}) {
    model->string2index(row, codes);
    EXPECT_THAT(codes, ElementsAre(2, 0));
  }
}

TEST(row_of_texts, is_refused_when_it_does_not_fit) {
  const auto model = small_model();
  const struct {
    texts row;
    const char* error;
  } rows[] = {{{}, "[dtree::predicts] no data provided"},
              {{"p"}, "[dtree::predicts] 1 values provided for 2 attributes"},
              {{"p", "1", "a", "x"}, "[dtree::predicts] 4 values provided for 2 attributes"},
              {{"r", "1"}, "value r for column x not admitted"}};
  for (const auto& row : rows) {
    decision_tree::prediction result;
    try {
      model->predict(row.row, 1.0, result, nullptr);
      ADD_FAILURE() << row.error;
    } catch (const std::runtime_error& error) {
      EXPECT_STREQ(error.what(), row.error);
    }
  }
}

TEST(row_of_texts, is_predicted_by_the_public_model) {
  const orvik::dtree model(small_model());
  EXPECT_EQ(model.predict({"q", "?"}, 1.0), "b");
  double confidence = 0;
  std::vector<double> shares;
  EXPECT_EQ(model.predict({"q", "?"}, 1.0, confidence, shares), "b");
  EXPECT_EQ(confidence, 0.8);
  EXPECT_THAT(shares, ElementsAre(0, 0.2, 0.8));
  EXPECT_THAT(model.class_values(), ElementsAre("?", "a", "b"));
}

TEST(score, stops_where_its_output_fails) {
  const auto model = small_model();
  std::string rows;
  for (int i = 0; i < 1000; ++i) rows += "p,-\n";
  dripping_text text(rows, 16);
  zel::inpout::stream in(&text, ',', /*owns=*/false);
  std::ostream nowhere(nullptr);
  unsigned long n = 0;
  EXPECT_THROW(model->score(&in, nowhere, n, ',', false, nullptr), std::runtime_error);
  EXPECT_LT(n, 100);
}

}  // namespace
}  // namespace orvik::impls
