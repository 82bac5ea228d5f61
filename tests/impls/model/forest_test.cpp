// Ensembles: the draws of their trees, and their votes.
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <algorithm>
#include <array>
#include <map>
#include <set>

#include "impls/model/bootstrap.h"
#include "impls/support/ensembles.h"
#include "impls/support/stock_tables.h"

namespace orvik::impls {
namespace {

class ensembles : public testing::TestWithParam<bool> {};
INSTANTIATE_TEST_SUITE_P(of_both_kinds, ensembles, testing::Bool(),
                         [](const auto& kind) { return kind.param ? "forest" : "bagging"; });

TEST_P(ensembles, whose_draws_weigh_more_than_any_number_are_refused) {
  const auto t = make_table("a,integer,continuous\nw,,weights\nc,string,class\n",
                            "1,1.7e308,x\n2,1e300,y\n3,1e300,y\n4,1e300,x\n");
  EXPECT_THAT(
      [&] {
        grow_ensemble(*t, {50, GetParam(), 1});
      },
      testing::ThrowsMessage<std::runtime_error>(
          "the weights of a tree's cases have no finite sum"));
}

TEST(draws, of_a_tree_are_as_many_as_the_cases_and_leave_a_third_out) {
  const auto t = mixed_table(1000, 6, /*weighted=*/false);
  const std::unique_ptr<case_list> all(t->get_all());
  const std::unique_ptr<case_list> base(all->select(100, 800, /*complement=*/false));
  const auto model = grow_ensemble(*t, {30, false, 4, 0}, base.get());
  double left_out = 0;
  std::set<std::set<row_t>> samples;
  for (unsigned long i = 0; i < model->n_trees(); ++i) {
    const case_list drawn = model->cases_of_tree(*t, i);
    EXPECT_EQ(drawn.size(), 800);
    EXPECT_EQ(model->get_tree(i)->get_node()->weight(), 800);
    std::set<row_t> rows;
    for (const auto& [row, weight] : drawn) rows.insert(row);
    EXPECT_GE(*rows.begin(), 100);
    EXPECT_LT(*rows.rbegin(), 900);
    left_out += 800 - static_cast<double>(rows.size());
    samples.insert(rows);
  }
  EXPECT_NEAR(left_out / (30 * 800), 0.368, 0.012);  // 1 / e; deviation of the mean 0.002
  EXPECT_EQ(samples.size(), 30);
}

/// Eight columns alike, so that of those measured the first one wins, and how often each wins
/// tells how many are measured.
std::array<unsigned long, 8> roots_by_attribute(bool forest, unsigned long trees) {
  std::string names, data;
  for (int a = 0; a < 8; ++a) names += "x" + std::to_string(a) + ",string,discrete\n";
  for (int row = 0; row < 20; ++row) {
    for (int a = 0; a < 8; ++a) data += row % 2 == 0 ? "p," : "q,";
    data += row % 2 == 0 ? "a\n" : "b\n";
  }
  const auto t = make_table(names + "k,string,class\n", data);
  const auto model = grow_ensemble(*t, {trees, forest, 8});
  std::array<unsigned long, 8> roots{};
  for (unsigned long i = 0; i < trees; ++i) {
    const auto tree = model->get_tree(i);
    const decision_node& root = *tree->get_node();
    if (root.is_split()) ++roots[root.attribute()];
  }
  return roots;
}

// Of 8 attributes 4 are measured. The first one measured is attribute a in C(7 - a, 3) of the
// C(8, 4) = 70 choices.
TEST(forest_nodes, measure_a_few_attributes_each_as_often_as_the_others) {
  const auto roots = roots_by_attribute(/*forest=*/true, 1400);
  const std::array<double, 8> expected{700, 400, 200, 80, 20, 0, 0, 0};
  for (std::size_t a = 0; a < 5; ++a) EXPECT_NEAR(roots[a], expected[a], 80) << a;
  EXPECT_THAT(roots, testing::ElementsAre(testing::_, testing::_, testing::_, testing::_,
                                          testing::Gt(0), 0, 0, 0));
}

TEST_P(ensembles, are_tested_by_the_votes_of_their_trees) {
  const auto t = mixed_table(700, 9, /*weighted=*/true);
  const auto model = grow_ensemble(*t, {7, GetParam(), 3, 4});
  const auto single = grow_ensemble(*t, {1, GetParam(), 3, 2});
  const std::unique_ptr<case_list> all(t->get_all());
  conf_matrix expected(t.get());
  double unsure = 0;
  for (const auto& [row, weight] : *all) {
    std::map<code_t, int> votes;
    decision_tree::prediction result;
    for (unsigned long i = 0; i < 7; ++i) {
      model->get_tree(i)->predict_class(*t, codes_of(*t, row), result, 1, 0);
      ++votes[result.first];
    }
    const auto most = std::ranges::max_element(  // the first, which is the lowest, of equals
        votes, {}, [](const auto& of_code) { return of_code.second; });
    model->predict(*t, codes_of(*t, row), result, 1.0);
    ASSERT_EQ(result, decision_tree::prediction(most->first, most->second / 7.0)) << row;
    expected.add(t->class_column().get_row_index(row), most->first, weight);

    decision_tree::prediction of_tree;  // one alone answers, with its confidence
    single->predict(*t, codes_of(*t, row), result, 1.0);
    single->get_tree(0)->predict_class(*t, codes_of(*t, row), of_tree, 1, 0);
    ASSERT_EQ(result, of_tree) << row;
    unsure += result.second < 1;
  }
  EXPECT_GT(unsure, 0);
  model->set_training_cm(t.get(), all.get());
  for (code_t i = 0; i < expected.size(); ++i) {
    for (code_t j = 0; j < expected.size(); ++j) {
      EXPECT_EQ(model->get_training_cm()->get_element(i, j), expected.get_element(i, j));
    }
  }
}

}  // namespace
}  // namespace orvik::impls
