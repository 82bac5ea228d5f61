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

// An unknown x goes down both branches: a has 3/8 + 5/8 * 1/5, b has 5/8 * 4/5.
TEST(class_shares, are_those_of_the_leaves_reached) {
  const auto model = small_model();
  decision_tree::prediction result;
  std::vector<double> shares;
  EXPECT_EQ(model->predict({"?", ""}, 2.0, result, &shares), 2.0);
  EXPECT_THAT(shares, ElementsAre(0, 0.5, 0.5));
  EXPECT_EQ(result, decision_tree::prediction(1, 1.0));  // the weight is in the confidence
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
