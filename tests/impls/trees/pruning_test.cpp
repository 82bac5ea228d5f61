#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <cmath>
#include <limits>

#include "impls/support/stock_tables.h"
#include "impls/support/tree_builder.h"

using namespace orvik::impls;

namespace {

constexpr double k_any = std::numeric_limits<double>::max();

TEST(confidence, deviates_are_interpolated_and_squared) {
  // 0.25 lies a quarter of the way from 0.2 (0.84) to 0.4 (0.25): 0.6925 squared.
  EXPECT_DOUBLE_EQ(decision_tree::CFCoefficient(0.25), 0.47955625);
  EXPECT_DOUBLE_EQ(decision_tree::CFCoefficient(0.001), 3.09 * 3.09);
  EXPECT_DOUBLE_EQ(decision_tree::CFCoefficient(0.0005), 3.545 * 3.545);
  EXPECT_DOUBLE_EQ(decision_tree::CFCoefficient(0.7), 0.125 * 0.125);
  EXPECT_EQ(decision_tree::CFCoefficient(1), 0);
  for (const double level : {0.0, -0.1, 1.0000001, std::nan("")}) {
    EXPECT_THAT(
        [level] { decision_tree::CFCoefficient(level); },
        testing::ThrowsMessage<std::runtime_error>("Confidence level required in (0.00, 1.00]"));
  }
}

struct extra {
  const char* name;
  double cf, n, e, expected;
};
class added_errors : public testing::TestWithParam<extra> {};

TEST_P(added_errors, follow_the_branch_of_their_size) {
  const auto& [name, cf, n, e, expected] = GetParam();
  EXPECT_NEAR(decision_tree::add_errs(cf, decision_tree::CFCoefficient(cf), n, e), expected, 1e-6);
}

INSTANTIATE_TEST_SUITE_P(
    of, added_errors,
    testing::Values(
        // n (1 - cf^(1/n)): 1 - 0.25, 2 (1 - 0.5), 6 (1 - 0.793701).
        extra{"none_of_1", 0.25, 1, 0, 0.75}, extra{"none_of_2", 0.25, 2, 0, 1},
        extra{"none_of_6", 0.25, 6, 0, 1.237797}, extra{"none_of_0", 0.25, 0, 0, 0},
        extra{"none_at_1", 1, 6, 0, 0},
        // With c = 0.47955625 and f = 1.5 of n = 16: p = (1.5 + c/2 + sqrt(c (1.5 (1 - 1.5/16) +
        // c/4))) / (16 + c) = (1.739778 + 0.842253) / 16.479556 = 0.156681; 16 p - 1.
        extra{"one_of_16", 0.25, 16, 1, 1.506894},
        // Halfway between 16 (1 - 0.25^(1/16)) = 1.327935 and the 1.506894 of a whole error.
        extra{"half_of_16", 0.25, 16, 0.5, 1.327935 + 0.5 * (1.506894 - 1.327935)},
        // At 1 the coefficient is 0: n p = f.
        extra{"three_at_1", 1, 10, 3, 0.5}, extra{"nearly_all", 0.25, 4, 3.5, 0.67 * 0.5},
        extra{"all", 0.25, 4, 4, 0}),
    [](const auto& row) { return row.param.name; });

struct pruned_row {
  const char* name;
  tree_plan plan;
  std::string pre, ebp;  // texts after pre-pruning, and after both
};
class pruned_plans : public testing::TestWithParam<pruned_row> {};

TEST_P(pruned_plans, keep_what_saves_errors) {
  const auto t =
      make_table("a,string,discrete\nb,string,discrete\nc,string,class\n", "x,u,p\ny,v,q\nz,v,q\n");
  const auto tree = build_tree(GetParam().plan);
  const double coeff = decision_tree::CFCoefficient(0.25);
  for (int round = 0; round < 2; ++round) {  // the second round finds nothing to do
    const double training_errors = tree->preprune(k_any);
    EXPECT_EQ(training_errors, tree->get_node()->estimated_error());
    if (round == 0) {
      EXPECT_EQ(text_of(*tree, *t), GetParam().pre);
    }
    const double errors = tree->prune_dt(*t, 0.25, coeff);
    EXPECT_EQ(errors, tree->get_node()->estimated_error());
    EXPECT_EQ(text_of(*tree, *t), GetParam().ebp);
    EXPECT_EQ(tree->prune_dt(*t, 0.25, coeff), errors);
    EXPECT_EQ(text_of(*tree, *t), GetParam().ebp);
  }
}

INSTANTIATE_TEST_SUITE_P(
    of, pruned_plans,
    testing::Values(
        // With f = 5.5 of n = 14: p = (5.739778 + 1.287971) / 14.479556 = 0.485357.
        pruned_row{"leaf", leaf({9, 5}), " p (14.0/5.0)", " p (14.0/6.8)"},
        // No child changes a class: as many errors as a leaf.
        pruned_row{"useless", split(0, {leaf({5, 1}), leaf({4, 1}), leaf({0, 0})}), " p (11.0/2.0)",
                   " p (11.0/3.6)"},
        // From below: the useless child goes, then its father has no use either.
        pruned_row{"useless_twice",
                   split(0, {split(1, {leaf({5, 1}), leaf({4, 1})}), leaf({3, 2}), leaf({1, 0})}),
                   " p (17.0/4.0)", " p (17.0/5.9)"},
        // One error saved on 16 cases is worth it on the training cases; estimated it is not:
        // 1.320 and twice 0.75 against a leaf's 2.507.
        pruned_row{"not_worth_it", split(0, {leaf({14, 0}), leaf({0, 1}), leaf({1, 0})}),
                   "\na = x: p (14.0)\na = y: q (1.0)\na = z: p (1.0)", " p (16.0/2.5)"},
        // 6 (1 - 0.25^(1/6)) at each leaf.
        pruned_row{"worth_it", split(1, {leaf({6, 0}), leaf({0, 6})}),
                   "\nb = u: p (6.0)\nb = v: q (6.0)", "\nb = u: p (6.0/1.2)\nb = v: q (6.0/1.2)"}),
    [](const auto& row) { return row.param.name; });

TEST(pruning, a_subtree_must_save_more_than_a_thousandth_of_an_error) {
  for (const double saved : {0.0009, 0.0011}) {
    const auto tree = build_tree(split(1, {leaf({5, 1}), leaf({2, 2 + saved})}));
    tree->preprune(k_any);
    EXPECT_EQ(tree->get_no_childs() > 0, saved > 0.001);
    EXPECT_NEAR(tree->get_node()->estimated_error(), saved > 0.001 ? 3 : 3 + saved, 1e-9);
  }
}

TEST(pruning, an_estimate_must_save_more_than_a_tenth_of_an_error) {
  // Leaves of n cases without error have the estimate n (1 - cf^(1/n)), here with cf = 1 nothing;
  // at the father the e < 1 errors become e (1 + 0.5), as one error becomes 1.5.
  for (const double e : {0.066, 0.067}) {
    const auto tree = build_tree(split(1, {leaf({9, 0}), leaf({0, e})}));
    tree->prune_dt(*make_schema(k_golf_names), 1, 0);
    EXPECT_EQ(tree->get_no_childs() > 0, e > 0.1 / 1.5);
  }
}

TEST(pruning, the_bound_limits_the_error_of_a_new_leaf) {
  const auto plan = split(1, {split(0, {leaf({5, 1}), leaf({4, 1}), leaf({0, 0})}), leaf({3, 2})});
  for (const auto& [bound, size] : {std::pair{1.9, 6UL}, {2.0, 3UL}, {3.9, 3UL}, {4.0, 1UL}}) {
    const auto tree = build_tree(plan);
    EXPECT_EQ(tree->preprune(bound), 4);
    EXPECT_EQ(tree->size(), size) << bound;
  }
}

}  // namespace
