// Testing and scoring rows of text: what any number of workers must give.
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <sstream>

#include "impls/model/dtree.h"
#include "impls/support/stock_tables.h"
#include "support/error_of.h"

namespace orvik::impls {
namespace {

using testing::ElementsAre;
using testing::Pair;

constexpr unsigned long k_worker_counts[] = {1, 2, 7};
constexpr long k_few_bytes = 40;  // a read: blocks of a line or two

/// A model of all rows of `t`.
std::unique_ptr<dtree> model_of(const table& t, unsigned long bagged_trees = 0) {
  auto model = std::make_unique<dtree>("t");
  model->set_pruning_strategy(model::PRE_PRUNING_ONLY);
  if (bagged_trees > 0) model->set_forest(false, true, bagged_trees);
  const std::unique_ptr<case_list> all(t.get_all());
  model->build(&t, all.get());
  return model;
}

std::string matrix_text(const conf_matrix& matrix) {
  std::ostringstream out;
  out.precision(17);
  matrix.toTEXT(out, 0);
  return out.str() + std::to_string(matrix.ncases());
}

std::unique_ptr<conf_matrix> tested(const dtree& model, std::string_view rows,
                                    unsigned long workers, unseen_values* unseen = nullptr,
                                    long most = k_few_bytes) {
  const loop_threads threads(workers);
  dripping_text text(rows, most);
  zel::inpout::stream in(&text, ',', /*owns=*/false);
  return model.test(&in, "?", unseen);
}

struct scores {
  std::string lines, error;
  unsigned long rows = 0;
  unseen_values unseen;
};

scores scored(const dtree& model, std::string_view rows, unsigned long workers,
              bool probabilities = false, bool admit_unseen = false, long most = k_few_bytes) {
  const loop_threads threads(workers);
  dripping_text text(rows, most);
  zel::inpout::stream in(&text, ',', /*owns=*/false);
  scores result;
  std::ostringstream out;
  try {
    model.score(&in, out, result.rows, ';', probabilities, admit_unseen ? &result.unseen : nullptr);
  } catch (const std::runtime_error& error) {
    result.error = error.what();
  }
  result.lines = out.str();
  return result;
}

TEST(rows_of_text, have_the_predictions_of_the_rows_they_tell) {
  for (const unsigned long trees : {0UL, 7UL}) {
    const auto [names, rows] = mixed_texts(300, 5, /*weighted=*/true);
    const auto t = make_table(names, rows);
    const auto model = model_of(*t, trees);
    std::string expected;
    for (row_t row = 0; row < t->n_rows(); ++row) {
      decision_tree::prediction p;
      model->predict(*t, codes_of(*t, row), p, 1.0);
      char line[64];
      std::snprintf(line, sizeof line, "%s;%g\n", model->class_names()[p.first].c_str(), p.second);
      expected += line;
    }
    const std::unique_ptr<case_list> all(t->get_all());
    const std::string matrix = matrix_text(*model->test(*t, *all, nullptr));
    for (const unsigned long workers : k_worker_counts) {
      for (const long most : {k_few_bytes, 5000L, dripping_text::k_all}) {
        const scores s = scored(*model, rows, workers, false, false, most);
        ASSERT_EQ(s.error, "");
        EXPECT_EQ(s.rows, t->n_rows());
        EXPECT_TRUE(s.lines == expected) << trees << " trees, " << workers << " workers";
        EXPECT_EQ(matrix_text(*tested(*model, rows, workers, nullptr, most)), matrix);
      }
    }
  }
}

// The printed thresholds of this tree are 2 and 7.5: "x <= 2" and, above it, "y <= 7.5".
TEST(rows_of_text, take_the_branch_that_the_printed_threshold_says) {
  const auto t = make_table("x,integer,continuous\ny,double,continuous\nk,string,class\n",
                            "1,1,a\n2,1,a\n2,9.5,a\n5,7.5,b\n6,2.25,b\n5,8,c\n9,9.5,c\n9,8,c\n");
  auto model = std::make_unique<dtree>("t");
  model->set_min_obj(1);
  model->set_pruning_strategy(model::NO_PRUNING);
  const std::unique_ptr<case_list> all(t->get_all());
  model->build(t.get(), all.get());
  std::ostringstream tree;
  model->toTEXT(tree, 0);
  ASSERT_NE(tree.str().find("x <= 2"), std::string::npos) << tree.str();
  ASSERT_NE(tree.str().find("y <= 7.5"), std::string::npos) << tree.str();

  EXPECT_EQ(scored(*model, "-9,99\n2,8\n3,-1\n3,7.49\n4,7.5\n4,7.51\n99,7.75\n99,1e9\n", 1).lines,
            "a;1\na;1\nb;1\nb;1\nb;1\nc;1\nc;1\nc;1\n");
}

struct bad_row {
  const char* row;
  const char* reason;
};

TEST(rows_of_text, stop_at_the_earliest_bad_row) {
  const auto t = golf_table();
  const auto model = model_of(*t);
  const std::string good = "sunny,85,85,false,no\n", unlike = "foggy,1,1,true,yes\n";
  const bad_row rows[] = {{"foggy,85,85,false,no", "value foggy for column outlook not admitted"},
                          {"sunny,warm,85,false,no", "warm: not an int (column temperature)"},
                          {"sunny", "bad row format: sunny"},
                          {"", "bad row format: "}};
  for (const unsigned long workers : k_worker_counts) {
    for (const bad_row& bad : rows) {
      for (const unsigned long before : {0UL, 1UL, 230UL}) {
        std::string text;
        for (unsigned long i = 0; i < before; ++i) text += good;
        const std::string lines = scored(*model, text, 1).lines;
        text += std::string(bad.row) + '\n';
        for (int i = 0; i < 40; ++i) text += good + unlike;
        const std::string where = "(row " + std::to_string(before + 1) + "): " + bad.reason;
        const scores s = scored(*model, text, workers);
        EXPECT_EQ(s.error, "Reading score data: " + where);
        EXPECT_EQ(s.rows, before);
        EXPECT_EQ(s.lines, lines);
        EXPECT_EQ(error_of([&] { tested(*model, text, workers); }), "Reading test data: " + where);
      }
    }
  }
}

}  // namespace
}  // namespace orvik::impls
