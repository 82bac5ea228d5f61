// Out-of-bag error of ensembles.
#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <map>
#include <set>

#include "impls/support/binary_text.h"
#include "impls/support/ensembles.h"
#include "impls/support/stock_tables.h"
#include "orvik/orvik.h"

namespace orvik::impls {
namespace {

/// Case by case and tree by tree, of the first trees. The cases of `base` must be different pairs.
double plain_oob_error(const dtree& model, const table& t, const case_list& base,
                       unsigned long n_trees) {
  std::vector<std::set<case_list::value_type>> drawn;
  std::vector<std::shared_ptr<const decision_tree>> trees;
  for (unsigned long i = 0; i < n_trees; ++i) {
    trees.push_back(model.get_tree(i));
    const case_list own = model.cases_of_tree(t, i);
    drawn.emplace_back(own.begin(), own.end());
  }
  double voted = 0, wrong = 0;
  for (const auto& each : base) {
    std::map<code_t, int> votes;
    for (unsigned long i = 0; i < n_trees; ++i) {
      if (drawn[i].contains(each)) continue;
      decision_tree::prediction result;
      trees[i]->predict_class(t, codes_of(t, each.first), result, 1.0, 0);
      ++votes[result.first];
    }
    if (votes.empty()) continue;
    const auto most =
        std::ranges::max_element(votes, {}, [](const auto& of_code) { return of_code.second; });
    voted += each.second;
    if (most->first != t.class_column().get_row_index(each.first)) wrong += each.second;
  }
  return wrong / voted;
}

/// Rows in another order than the table's, each twice with two weights.
case_list doubled_cases(const table& t) {
  case_list cases;
  for (row_t row = t.n_rows(); row-- > 0;) {
    cases.emplace_back(row, 1.0 + static_cast<double>(row % 3) / 10);
    cases.emplace_back(row, 0.3);
  }
  return cases;
}

TEST(oob_errors, count_the_votes_of_ever_more_trees_that_did_not_draw_the_case) {
  const auto t = mixed_table(900, 2, /*weighted=*/false);
  const case_list cases = doubled_cases(*t);
  for (const ensemble_plan& plan :
       {ensemble_plan{12, true, 1}, ensemble_plan{3, false, 2}, ensemble_plan{2, true, 3, 1}}) {
    const auto model = grow_ensemble(*t, plan, &cases);
    const std::vector<double> errors = model->oob_errors(*t);
    ASSERT_EQ(errors.size(), plan.trees);
    for (unsigned long i = 0; i < errors.size(); ++i) {
      EXPECT_NEAR(errors[i], plain_oob_error(*model, *t, cases, i + 1), 1e-12) << i;
    }
    EXPECT_EQ(model->oob_error(*t), plain_oob_error(*model, *t, cases, plan.trees));
  }
}

/// By what the trees say one by one, of the cases that all but one of them may have drawn.
TEST(oob_rows, are_what_the_trees_that_did_not_draw_a_case_say) {
  const auto t = mixed_table(200, 2, /*weighted=*/false);
  const case_list cases = doubled_cases(*t);
  for (const combination answer : {combination::votes, combination::shares}) {
    ensemble_plan plan{5, true, 1};
    plan.answer = answer;
    const auto model = grow_ensemble(*t, plan, &cases);
    const judged_rows rows = model->oob_rows(*t);
    EXPECT_NEAR(1 - metrics_of(rows, "").accuracy, model->oob_error(*t), 1e-12);
    std::vector<case_list> drawn;
    std::vector<std::shared_ptr<const decision_tree>> trees;
    for (unsigned long i = 0; i < 5; ++i) {
      drawn.push_back(model->cases_of_tree(*t, i));
      trees.push_back(model->get_tree(i));
    }
    row_t at = 0;
    const unsigned long k = rows.classes.size();
    for (const auto& each : cases) {
      std::vector<double> shares(k);
      double asked = 0;
      std::vector<code_t> codes(t->n_attributes());
      for (unsigned long a = 0; a < codes.size(); ++a) {
        codes[a] = t->column_of(a).get_row_index(each.first);
      }
      for (unsigned long i = 0; i < 5; ++i) {
        if (std::ranges::find(drawn[i], each) != drawn[i].end()) continue;
        ++asked;
        answer == combination::votes ? trees[i]->add_probabilities(codes, 1, shares)
                                     : trees[i]->add_shares(codes, 1, shares);
      }
      if (asked == 0) continue;
      ASSERT_LT(at, rows.size());
      EXPECT_EQ(rows.weights[at], each.second);
      for (code_t c = 0; c < k; ++c) EXPECT_EQ(rows.shares[at * k + c], shares[c] / asked) << at;
      ++at;
    }
    EXPECT_EQ(at, rows.size());
    EXPECT_LT(at, cases.size());
  }
}

TEST(recalled_draws, are_those_of_the_build_or_none) {
  for (const bool weighted : {false, true}) {
    const auto t = mixed_table(900, 2, weighted);
    const auto model = grow_ensemble(*t, {12, true, 5});
    const std::string saved = binary_of([&](auto& out) { out << *model; });
    struct row {
      unsigned long seed, rows;
      bool found;
    };
    for (const row& r : {row{5, 900, true}, row{6, 900, false}, row{5, 899, false}}) {
      dtree back("");
      read_all(saved, [&back](auto& in) { in >> back; });
      EXPECT_TRUE(back.oob_errors(*t).empty());
      const run_seed seed(r.seed);
      const auto rows = r.rows == 900 ? nullptr : mixed_table(r.rows, 2, weighted);
      EXPECT_EQ(back.recall_draws(rows ? *rows : *t), r.found) << r.seed << ' ' << r.rows;
      EXPECT_EQ(back.oob_errors(*t), r.found ? model->oob_errors(*t) : std::vector<double>());
    }
  }
}

// Of two cases of two classes a tree draws both, and nothing is out of bag, or one, and is wrong
// about the other.
TEST(oob_error, is_not_a_number_without_cases_out_of_bag) {
  const auto t = make_table("x,string,discrete\nk,string,class\n", "p,a\nq,b\n");
  int with_both = 0;
  for (unsigned long seed = 0; seed < 40; ++seed) {
    const auto model = grow_ensemble(*t, {1, false, seed});
    const case_list drawn = model->cases_of_tree(*t, 0);
    const bool both = drawn[0] != drawn[1];
    with_both += both;
    EXPECT_EQ(std::isnan(model->oob_error(*t)), both);
    if (!both) {
      EXPECT_EQ(model->oob_error(*t), 1);
    }
  }
  EXPECT_GT(with_both, 5);
  EXPECT_LT(with_both, 35);
}

}  // namespace
}  // namespace orvik::impls
