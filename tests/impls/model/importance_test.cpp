// Attribute importance of single trees and of ensembles.
#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>

#include "impls/support/ensembles.h"
#include "impls/support/stock_tables.h"

namespace orvik::impls {
namespace {

struct expected_gain {
  const char* name;
  double gain;
};

void expect_gains(const std::vector<attribute_importance>& found,
                  const std::vector<expected_gain>& expected) {
  ASSERT_EQ(found.size(), expected.size());
  for (std::size_t i = 0; i < found.size(); ++i) {
    EXPECT_EQ(found[i].name, expected[i].name) << i;
    EXPECT_NEAR(found[i].gain, expected[i].gain, 1e-6) << found[i].name;
    EXPECT_TRUE(std::isnan(found[i].permutation));
  }
}

std::vector<attribute_importance> importance_of_tree(const table& t, unsigned long max_depth) {
  const std::unique_ptr<case_list> all(t.get_all());
  dtree model("t");
  model.set_pruning_strategy(model::NO_PRUNING);
  model.set_max_depth(max_depth);
  model.build(&t, all.get());
  return model.importance(t);
}

// The class entropy of the 14 days is 0.940286 bits. The outlook leaves 0.693536; what is left,
// 5/14 * 0.970951 on sunny and on rainy days each, the humidity and the wind take away.
TEST(gain_importance, is_the_entropy_that_the_splits_take_away) {
  const auto t = golf_table();
  expect_gains(
      importance_of_tree(*t, k_no_depth_limit),
      {{"humidity", 0.346768}, {"windy", 0.346768}, {"outlook", 0.246750}, {"temperature", 0}});
  expect_gains(importance_of_tree(*t, 1),
               {{"outlook", 0.246750}, {"temperature", 0}, {"humidity", 0}, {"windy", 0}});
  expect_gains(importance_of_tree(*t, 0),
               {{"outlook", 0}, {"temperature", 0}, {"humidity", 0}, {"windy", 0}});
}

// 3 a and 2 b, 0.970951 bits; the unknown a goes half each way: 2.5 a, and 0.5 a with 2 b, of
// 0.721928 bits. Ignored columns are not listed.
TEST(gain_importance, follows_unknown_values_down_all_branches) {
  const auto t = make_table("note,string,ignore\nx,string,discrete\nk,string,class\n",
                            "1,p,a\n2,p,a\n3,q,b\n4,q,b\n5,?,a\n");
  const auto found = importance_of_tree(*t, k_no_depth_limit);
  expect_gains(found, {{"x", 0.970951 - 0.5 * 0.721928}});
  EXPECT_EQ(found[0].attribute, 1);
}

/// A key that decides the class of most rows, a number that does not, and a constant.
std::unique_ptr<table> keyed_table(unsigned long rows, unsigned long one_wrong_in) {
  std::mt19937_64 draw(12);
  std::string data;
  for (unsigned long i = 0; i < rows; ++i) {
    const bool wrong = one_wrong_in != 0 && draw() % one_wrong_in == 0;
    data += std::to_string(draw() % 100) + (i % 2 == 0 ? ",p,c," : ",q,c,");
    data += (i % 2 == 0) != wrong ? "a\n" : "b\n";
  }
  return make_table(
      "noise,integer,continuous\nkey,string,discrete\nconstant,string,discrete\nk,string,class\n",
      data);
}

double permutation_of(const std::vector<attribute_importance>& all, const char* name) {
  return std::ranges::find(all, name, &attribute_importance::name)->permutation;
}

TEST(permutation_importance, of_noise_is_about_nothing) {
  const auto t = keyed_table(800, /*one_wrong_in=*/10);
  for (const bool forest : {true, false}) {
    const auto model = grow_ensemble(*t, {40, forest, 3});
    const run_seed seed(3);
    const auto found = model->importance(*t);
    EXPECT_GT(permutation_of(found, "key"), 0.3);
    EXPECT_NE(permutation_of(found, "noise"), 0);
    EXPECT_NEAR(permutation_of(found, "noise"), 0, 0.03);
    EXPECT_EQ(permutation_of(found, "constant"), 0);
  }
}

/// What the tree says when the row's code of one attribute is another.
TEST(changed_rows, are_predicted_as_their_codes_would_be) {
  const auto t = mixed_table(300, 3, /*weighted=*/false);
  const auto model = grow_ensemble(*t, {1, false, 1});
  const auto unpacked = model->get_tree(0);
  const decision_tree& tree = *unpacked;
  for (row_t row = 0; row < t->n_rows(); ++row) {
    const auto a = static_cast<unsigned int>(row % t->n_attributes());
    const code_t code = t->column_of(a).get_row_index(t->n_rows() - 1 - row);
    std::vector<code_t> codes = codes_of(*t, row);
    codes[a] = code;
    decision_tree::prediction expected, changed, plain, asking;
    tree.predict_class(*t, codes, expected, 1.0, 0);
    tree.predict_changed_row(*t, row, a, code, changed);
    EXPECT_EQ(changed, expected) << row;

    zel::adt::bitmap asked;
    asked.resize(t->n_attributes());
    tree.predict_class(*t, codes_of(*t, row), plain, 1.0, 0);
    tree.predict_row_asking(*t, row, asking, asked);
    EXPECT_EQ(asking, plain);
    if (!asked[a]) {
      EXPECT_EQ(changed, plain);
    }
    EXPECT_TRUE(asked[tree.get_node()->attribute()]);
  }
}

}  // namespace
}  // namespace orvik::impls
