// What each family makes of small trees whose figures are worked out by hand.
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <cmath>
#include <limits>

#include "impls/pruning/raising.h"
#include "impls/pruning/strategies.h"
#include "impls/support/table_text.h"
#include "impls/support/tree_builder.h"

using namespace orvik::impls;
namespace model = orvik::model;

namespace {

constexpr double k_inf = std::numeric_limits<double>::infinity();

std::string times(int n, const std::string& row) {
  std::string rows;
  for (int i = 0; i < n; ++i) rows += row + '\n';
  return rows;
}

/// Attributes a, b and c with the codes x = 1 and y = 2, classes n = 1 and p = 2.
std::unique_ptr<table> xy_table(const std::string& rows) {
  return make_table("a,string,discrete\nb,string,discrete\nc,string,discrete\nk,string,class\n",
                    rows);
}

/// Prunes with the rows of `t` as training cases and as pruning cases.
void prune(decision_tree& tree, const table& t, model::pruning_strategy strategy) {
  const std::unique_ptr<case_list> cases(t.get_all());
  tree.get_node()->set_cases(cases.get());
  pruning::prune(tree, strategy, {t, 0.25, cases.get()});
  tree.get_node()->disactivate();
}

// b alone tells the classes; a = x comes first and mixes them:
//   a = x: 2 n with b = x, 2 p with b = y        a = y: 6 n with b = x, 6 p with b = y
// The leaf at a = x has 2 errors, the subtree on b none, neither there nor on all 16 cases.
//   EBP  leaf 8 + ..., subtree > 2, child 2 * 8 * (1 - 0.25^(1/8)) = 2.55
//   PEP  leaf 8.5, subtree 3.5 + sqrt(3.5 * 12.5 / 16) = 5.15, child 1 + sqrt(15 / 16) = 1.97
//   REP  leaf 8, subtree 2, child 0
//   MEP  m = 0.5: leaf 8, subtree 2 + 2 * 6 * 0.25 / 6.5, child 2 * 8 * 0.25 / 8.5
struct mixed_top {
  std::unique_ptr<table> t = xy_table(times(2, "x,x,x,n") + times(2, "x,y,x,p") +
                                      times(6, "y,x,x,n") + times(6, "y,y,x,p"));
  std::unique_ptr<decision_tree> tree =
      build_tree(split(0, {leaf({2, 2}), split(1, {leaf({6, 0}), leaf({0, 6})})}));
};

class each_family : public testing::TestWithParam<model::pruning_strategy> {
 protected:
  model::pruning_strategy flavour(unsigned int i) const {
    return static_cast<model::pruning_strategy>(GetParam() + i);
  }
};
INSTANTIATE_TEST_SUITE_P(families, each_family,
                         testing::Values(model::EBP, model::PEP, model::REP, model::MEP));

TEST_P(each_family, raises_a_child_that_errs_less_than_the_subtree) {
  for (const unsigned int raising : {1, 2}) {
    mixed_top m;
    prune(*m.tree, *m.t, flavour(raising));
    EXPECT_EQ(m.tree->size(), 3);
    const decision_node& root = *m.tree->get_node();
    EXPECT_EQ(root.attribute(), 1);
    EXPECT_EQ(root.father(), nullptr);
    EXPECT_EQ(root.position(), 0);
    EXPECT_EQ(root.fraction(), 1.0);
    EXPECT_EQ(root.weight(), 16);
    for (const unsigned int i : {0, 1}) {
      const decision_node& child = *m.tree->get_child(i)->get_node();
      EXPECT_EQ(child.weight(), 8);
      EXPECT_EQ(child.fraction(), 0.5);
      EXPECT_EQ(child.father(), &root);
    }
  }
}

TEST_P(each_family, keeps_the_same_tree_without_raising) {
  mixed_top m;
  prune(*m.tree, *m.t, flavour(0));
  EXPECT_EQ(m.tree->size(), 5);
  EXPECT_EQ(m.tree->get_node()->attribute(), 0);
}

// The small child (a = x, 4 cases) is the one worth raising; the largest errs on all of a = x.
TEST_P(each_family, only_the_flavour_of_all_children_raises_a_small_one) {
  const auto t = xy_table(times(4, "x,x,x,n") + times(4, "x,y,x,p") + times(5, "y,x,x,n") +
                          times(6, "y,y,x,p") + times(1, "y,x,y,p"));
  const auto grow = [] {
    return build_tree(split(0, {split(1, {leaf({4, 0}), leaf({0, 4})}), leaf({5, 7})}));
  };
  const auto largest = grow(), all = grow();
  prune(*largest, *t, flavour(1));
  prune(*all, *t, flavour(2));
  EXPECT_EQ(largest->get_node()->attribute(), 0);
  EXPECT_EQ(all->get_node()->attribute(), 1);
  EXPECT_EQ(all->size(), 3);
}

// Both children would do, with the same errors and as many nodes; they test b and its copy c.
TEST_P(each_family, raises_the_first_of_equal_children_but_mep_the_last) {
  const auto t = xy_table(times(6, "x,x,x,n") + times(6, "x,y,y,p") + times(6, "y,x,x,n") +
                          times(6, "y,y,y,p"));
  const auto tree = build_tree(
      split(0, {split(1, {leaf({6, 0}), leaf({0, 6})}), split(2, {leaf({6, 0}), leaf({0, 6})})}));
  prune(*tree, *t, flavour(2));
  EXPECT_EQ(tree->size(), 3);
  EXPECT_EQ(tree->get_node()->attribute(), GetParam() == model::MEP ? 2 : 1);
}

// On all 20 cases the first child would make 16 errors with 9 leaves: with half an error for each
// more errors than cases, and its figure is not a number. The second one would make none with 10,
// and would be raised: 5 + sqrt(5 * 15 / 20) = 6.9 against 9.5 + sqrt(9.5 * 10.5 / 20) = 11.7 as it
// is.
TEST(pep, keeps_a_first_child_whose_figure_is_not_a_number) {
  std::string rows = "x,0,2,0\nx,1,3,1\ny,0,1,0\ny,1,1,1\n";
  for (const char k : std::string("23456789"))
    rows += times(2, std::string{'y', ',', k, ',', '1', ',', k});
  const auto t = make_table(
      "a,string,discrete\nb,string,discrete\nc,ostring "
      "1;2;3;4;5;6;7;8;9,discrete\nk,string,class\n",
      rows);
  const auto weights = [](std::initializer_list<std::size_t> classes, double weight) {
    std::vector<double> made(10);
    for (const std::size_t c : classes) made[c] = weight;
    return made;
  };
  std::vector<tree_plan> by_c(9, leaf(weights({}, 0))), by_b;
  by_c[1] = leaf(weights({0}, 1));
  by_c[2] = leaf(weights({1}, 1));
  for (std::size_t k = 0; k < 10; ++k) by_b.push_back(leaf(weights({k}, k < 2 ? 1 : 2)));
  const auto tree = build_tree(split(0, {split(2, by_c), split(1, by_b)}));
  prune(*tree, *t, model::PEPA);
  EXPECT_EQ(tree->get_node()->attribute(), 0u);
}

struct plain_row {
  const char* name;
  model::pruning_strategy strategy;
  std::string rows;  // pruning cases
  tree_plan plan;
  unsigned long size;
};
class plain_flavours : public testing::TestWithParam<plain_row> {};

TEST_P(plain_flavours, keep_what_errs_less_than_a_leaf) {
  const auto t = xy_table(GetParam().rows);
  const auto tree = build_tree(GetParam().plan);
  const std::unique_ptr<case_list> cases(t->get_all());
  tree->set_estimated_error_from_leaf_error();
  pruning::material with{*t, 0.25, cases.get()};
  const bool rep = GetParam().strategy == model::REP;
  (rep ? pruning::prune_by_rep : pruning::prune_by_pep)(*tree, with, pruning::raising::none);
  EXPECT_EQ(tree->size(), GetParam().size);
}

const tree_plan k_pure = split(0, {leaf({4, 0}), leaf({0, 4})});

INSTANTIATE_TEST_SUITE_P(
    decisions, plain_flavours,
    testing::Values(
        // PEP: 1 + sqrt(7 / 8) = 1.94 against 4.5; 3 + sqrt(3 * 9 / 12) = 4.5 against 2.5.
        plain_row{"pep_keeps", model::PEP, "x,x,x,n\ny,y,y,p\n", k_pure, 3},
        plain_row{"pep_collapses", model::PEP, "x,x,x,n\ny,y,y,p\n",
                  split(0, {leaf({5, 1}), leaf({5, 1})}), 1},
        // Four pure leaves: 2 + sqrt(2 * 2 / 4) = 3, a leaf 2.5 + 0.5, or a little more.
        plain_row{
            "pep_tie", model::PEP, "x,x,x,n\ny,y,y,p\nx,x,x,q\n",
            split(0, {leaf({1.5, 0, 0}), leaf({0, 1, 0}), leaf({0, 0, 1}), leaf({0, 0.5, 0})}), 1},
        plain_row{"pep_beyond_the_tie", model::PEP, "x,x,x,n\ny,y,y,p\nx,x,x,q\n",
                  split(0, {leaf({1.375, 0, 0}), leaf({0, 1, 0}), leaf({0, 0, 1.25}),
                            leaf({0, 0.375, 0})}),
                  5},
        // Five leaves of 2 cases in all have 2.5 corrected errors: no number, nothing is done.
        plain_row{"pep_more_errors_than_cases", model::PEP, "x,x,x,n\ny,y,y,p\n",
                  split(0, {leaf({1, 0}), leaf({0, 1}), leaf({0, 0}), leaf({0, 0}), leaf({0, 0})}),
                  6},
        // REP: 1 error against 2; 2 against 2; none against none.
        plain_row{"rep_keeps", model::REP, "x,x,x,n\nx,x,x,p\ny,y,y,p\n", k_pure, 3},
        plain_row{"rep_tie", model::REP, "x,x,x,p\ny,y,y,p\ny,y,y,n\n", k_pure, 1},
        plain_row{"rep_without_errors", model::REP, "x,x,x,n\nx,y,y,n\nx,x,x,p\n",
                  split(0, {leaf({4, 0}), leaf({1, 0})}), 1}),
    [](const auto& row) { return row.param.name; });

TEST(rep, counts_cases_of_unknown_value_in_every_branch_by_its_share) {
  const auto t = make_table("a,string,discrete\nk,string,class\n", "x,n\ny,p\n?,p\n");
  const auto tree = build_tree(split(0, {leaf({3, 0}), leaf({0, 1})}));
  const std::unique_ptr<case_list> cases(t->get_all());
  // The unknown case counts 0.75 at x, where it is an error, and 0.25 at y; a leaf makes 2.
  EXPECT_EQ(tree->prune_rep(*t, *cases, false, false), 0.75);
}

TEST(rep, predicts_the_class_of_the_father_where_no_training_case_came) {
  const auto t = xy_table("x,x,x,n\ny,y,y,p\ny,y,y,p\n");
  const auto tree = build_tree(split(0, {leaf({3, 0}), leaf({0, 0})}));
  const std::unique_ptr<case_list> cases(t->get_all());
  EXPECT_EQ(tree->prune_rep(*t, *cases, false, false), 2);
  EXPECT_EQ(tree->size(), 1);
}

TEST(mep, collapses_on_ties_and_leans_on_the_prior) {
  const auto t = xy_table("x,x,x,n\ny,y,y,p\n");
  // p = 1/2 each. m = 2: leaves 2 * (0 + 1) / 4 = 0.5 each, the root 4 * (2 + 1) / 6 = 2.
  const auto kept = build_tree(split(0, {leaf({2, 0}), leaf({0, 2})}));
  EXPECT_DOUBLE_EQ(kept->get_node()->EER(3, *kept->get_node(), 2), 0.5);
  EXPECT_DOUBLE_EQ(kept->prune_mep(*t, *kept->get_node(), 2, false, false), 1);
  EXPECT_EQ(kept->size(), 3);
  // Leaves like the root, whose rate is 1/2 for every m: 1 + 1 against 2.
  const auto tie = build_tree(split(0, {leaf({1, 1}), leaf({1, 1})}));
  EXPECT_DOUBLE_EQ(tie->prune_mep(*t, *tie->get_node(), 2, false, false), 2);
  EXPECT_EQ(tie->size(), 1);
  EXPECT_EQ(tie->get_node()->EER(1, *tie->get_node(), 2), std::numeric_limits<double>::max());
}

struct tie_row {
  const char* name;
  std::vector<double> estimates;  // of a child of 3 nodes and two leaves
  pruning::tie rule;
  unsigned int expected;
};
class best_candidate : public testing::TestWithParam<tie_row> {};

TEST_P(best_candidate, is_the_least_estimate) {
  const auto tree = build_tree(split(0, {k_pure, leaf({1, 0}), leaf({1, 0})}));
  const auto& [name, estimates, rule, expected] = GetParam();
  EXPECT_EQ(pruning::best_of(*tree, estimates, rule).child, expected);
}

constexpr double k_nan = std::numeric_limits<double>::quiet_NaN();
INSTANTIATE_TEST_SUITE_P(
    candidates, best_candidate,
    testing::Values(tie_row{"least", {2, 3, 1}, pruning::tie::smaller_subtree, 2},
                    tie_row{"fewer_nodes", {1, 1, 1}, pruning::tie::smaller_subtree, 1},
                    tie_row{"not_more_nodes", {2, 1, 1}, pruning::tie::smaller_subtree, 1},
                    tie_row{"later", {1, 1, 2}, pruning::tie::later_child, 1},
                    tie_row{"first_no_number", {k_nan, 1, 2}, pruning::tie::smaller_subtree, 0},
                    tie_row{"no_number_later", {2, k_nan, 1}, pruning::tie::later_child, 2},
                    tie_row{"above_limits", {k_inf, 1, k_inf}, pruning::tie::later_child, 1}),
    [](const auto& row) { return row.param.name; });

}  // namespace
