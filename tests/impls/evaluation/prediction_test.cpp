#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <algorithm>

#include "impls/evaluation/batch_predictor.h"
#include "impls/evaluation/conf_matrix.h"
#include "impls/support/stock_tables.h"
#include "impls/support/tree_builder.h"

using namespace orvik::impls;

namespace {

using testing::DoubleEq;
using testing::Pair;

/// Attributes a (discrete: u, v, w) and n (continuous: 10, 20, 30, codes 1 to 3), between the
/// class (p, q, r) and the weights.
std::unique_ptr<table> three_class_table() {
  return make_table("c,string,class\na,string,discrete\nn,integer,continuous\nwt,double,weights\n",
                    "p,u,10,1\nq,v,20,0.25\nr,w,30,2\np,?,30,0.5\n");
}

/// 40 cases: 30 go to a = u, 10 to a = v, none to a = w. Below u the cut is at n = 20.
std::unique_ptr<decision_tree> unequal_tree() {
  return build_tree(split(
      0, {split(1, 2, {leaf({12, 4, 4}), leaf({0, 5, 5})}), leaf({0, 2, 8}), leaf({0, 0, 0})}));
}

struct classified {
  const char* name;
  std::vector<code_t> codes;
  code_t predicted;
  double confidence, depth;
};
class predictions : public testing::TestWithParam<classified> {};

TEST_P(predictions, by_hand) {
  const auto t = three_class_table();
  decision_tree::prediction result;
  EXPECT_DOUBLE_EQ(unequal_tree()->predict_class(*t, GetParam().codes, result, 1, 0),
                   GetParam().depth);
  EXPECT_THAT(result, Pair(GetParam().predicted, DoubleEq(GetParam().confidence)));
}

INSTANTIATE_TEST_SUITE_P(
    of, predictions,
    testing::Values(classified{"at_the_threshold", {1, 2}, 1, 0.6, 2},
                    classified{
                        "above_the_threshold", {1, 3}, 2, 0.5, 2},  // of 5 and 5 the lower class
                    classified{"other_branch", {2, 0}, 3, 0.8, 1},
                    classified{"empty_leaf", {3, 1}, 3, 1, 1},  // its father holds 12, 11 and 17
                    // Below u two thirds of the weight went up to the cut: 12/30, 9/30 and 9/30.
                    classified{"unknown_below", {1, 0}, 1, 0.4, 2},
                    // 0.75 go to u, 0.25 to v: (12, 9 + 2, 9 + 8) of 40; depth 0.75 * 2 + 0.25.
                    classified{"all_unknown", {0, 0}, 3, 17. / 40, 1.75},
                    // u with known n: 0.75 (12, 4, 4) / 20 and 0.25 (0, 2, 8) / 10.
                    classified{"unknown_above", {0, 1}, 1, 0.45, 1.75},
                    // 0.75 (0, 5, 5) / 10 and 0.25 (0, 2, 8) / 10.
                    classified{"unknown_above_the_cut", {0, 3}, 3, 0.575, 1.75}),
    [](const auto& row) { return row.param.name; });

TEST(prediction, tallies_weights_by_class) {
  const auto t = three_class_table();
  const auto tree = unequal_tree();
  const std::unique_ptr<case_list> cases(t->get_all());
  conf_matrix matrix(t.get());
  // Rows: p as p at depth 2; q as r, r as r at 1; p with unknown a, n above the cut, as r at 1.75.
  EXPECT_DOUBLE_EQ(tree->predict_cm(*t, *cases, 2, matrix), 4 + 0.5 + 4 + 1.75);
  EXPECT_EQ(matrix.get_element(1, 1), 2);
  EXPECT_EQ(matrix.get_element(1, 3), 1);
  EXPECT_EQ(matrix.get_element(2, 3), 0.5);
  EXPECT_EQ(matrix.get_element(3, 3), 4);
  EXPECT_EQ(matrix.ncases(), 4u);
  EXPECT_DOUBLE_EQ(tree->err_misc(*t, *cases), 0.75 / 3.75);
}

class grown_prediction : public testing::Test {
 protected:
  void SetUp() override {
    t = mixed_table(3000, 21, true);
    cases.reset(t->get_all());
    case_list some(cases->begin(), cases->begin() + 900);  // leaves without weight come up
    tree.build(*t, &some, orvik::model::GAIN_RATIO, 2, k_no_depth_limit, nullptr, nullptr);
  }
  std::unique_ptr<table> t;
  std::unique_ptr<case_list> cases;
  decision_tree tree;
};

TEST_F(grown_prediction, is_the_class_of_the_largest_share) {
  for (row_t row = 0; row < t->n_rows(); ++row) {
    const std::vector<code_t> codes = codes_of(*t, row);
    std::vector<double> distribution(t->n_class_codes());
    decision_tree::prediction found;
    const double depth = tree.predict_distribution(*t, codes, distribution, 1, 0);
    double sum = 0;
    for (const double share : distribution) sum += share;
    ASSERT_NEAR(sum, 1, 1e-12) << row;
    ASSERT_EQ(tree.predict_class(*t, codes, found, 1, 0), depth);
    const auto largest = std::max_element(distribution.begin(), distribution.end());
    ASSERT_EQ(found.first, static_cast<code_t>(largest - distribution.begin())) << row;
  }
}

/// Case by case and all of them together, to the last bit.
TEST_F(grown_prediction, together_is_what_it_is_one_by_one) {
  const std::size_t width = t->n_attributes(), n = 1000, n_codes = t->n_class_codes();
  std::vector<std::uint32_t> codes;
  gather_codes(*t, std::span(*cases).first(n), codes);
  std::fill_n(codes.begin(), 200 * width, 0U);
  for (std::size_t i = 200 * width; i < codes.size(); i += 7) codes[i] = 0;
  const std::vector<double> n_votes{1.5, 0.3, 1, 0.7,
                                    2};  // so many that full rows go by themselves
  std::vector<voter> often;
  double all = 0;
  for (const double votes : n_votes) {
    often.push_back({&tree, votes});
    all += votes;
  }
  using answer = batch_predictor::answer;
  auto& run = zel::util::default_context();
  const batch_predictor one(*t, {{&tree}}, answer::of_one, run),
      five(*t, often, answer::shares, run), voters(*t, often, answer::votes, run);
  std::vector<outcome> alone(n), mean(n), voted(n);
  std::vector<double> own_likely(n * n_codes), means(own_likely), likely(own_likely);
  one.predict({codes, width}, alone, own_likely);
  five.predict({codes, width}, mean, means);
  voters.predict({codes, width}, voted, likely);
  for (std::size_t i = 0; i < n; ++i) {
    const auto own = case_block{codes, width}.of_case(i);
    const std::vector<code_t> wide(own.begin(), own.end());
    decision_tree::prediction found;
    ASSERT_EQ(tree.predict_class(*t, wide, found, 1, 0), alone[i].depth) << i;
    ASSERT_EQ(found, std::pair(alone[i].predicted, alone[i].confidence)) << i;
    ASSERT_EQ(voted[i].predicted, found.first);
    std::vector<double> shares(n_codes), own_probable(shares), probable(shares);
    tree.add_probabilities(wide, 1, own_probable);
    for (const double votes : n_votes) {
      tree.add_shares(wide, votes, shares);
      tree.add_probabilities(wide, votes, probable);
    }
    for (std::size_t c = 0; c < n_codes; ++c) {
      ASSERT_EQ(shares[c] / all, means[i * n_codes + c]);
      ASSERT_EQ(own_probable[c], own_likely[i * n_codes + c]);
      ASSERT_EQ(probable[c] / all, likely[i * n_codes + c]);
    }
    ASSERT_EQ(means[i * n_codes + mean[i].predicted], mean[i].confidence);
  }
  five.predict_rows(*t, std::span(*cases).first(n), mean);  // some values of the table are unknown
  voters.predict_rows(*t, std::span(*cases).first(n), voted);
  for (std::size_t i = 0; i < n; ++i) {
    decision_tree::prediction found;
    const double depth = tree.predict_class(*t, codes_of(*t, (*cases)[i].first), found, 1, 0);
    ASSERT_NEAR(mean[i].depth, 5 * depth, 1e-9);
    ASSERT_NEAR(voted[i].depth, 5 * depth, 1e-9);
  }
}

/// Too many parts for opening them together, of one case and of several.
TEST(prediction, without_any_value_goes_to_all_leaves) {
  std::string rows;
  for (int i = 0; i < 100; ++i) {
    const std::string v = std::to_string(i);
    rows += (i % 2 == 0 ? "p,v" : "q,v") + v + ",v" + v + "," + v + ",1\n";
  }
  const auto t = make_table(
      "k,string,class\na,string,discrete\nb,string,discrete\nn,integer,continuous\n"
      "w,double,weights\n",
      rows);
  double weight = 0;
  const auto some = [&] { return leaf({weight = weight < 30 ? weight + 0.7 : 0.1, 1.3}); };
  const auto many = [](const auto& make) {
    std::vector<tree_plan> children;
    for (int i = 0; i < 100; ++i) children.push_back(make());
    return children;
  };
  const auto cut = [&] { return split(2, 50, {some(), some()}); };
  const auto tree = build_tree(split(0, many([&] { return split(1, many(cut)); })));
  const std::vector<std::uint32_t> codes{0, 0, 0, 0, 0, 7, 3, 0, 0, 5, 0, 20};
  const batch_predictor predictor(*t, {{tree.get()}}, batch_predictor::answer::of_one,
                                  zel::util::default_context());
  std::vector<outcome> together(4);
  predictor.predict({codes, 3}, together);
  for (std::size_t i = 0; i < 4; ++i) {
    decision_tree::prediction found;
    const auto own = std::span(codes).subspan(3 * i, 3);
    tree->predict_class(*t, {own.begin(), own.end()}, found, 1, 0);
    EXPECT_EQ(found, std::pair(together[i].predicted, together[i].confidence)) << i;
  }
}

}  // namespace
