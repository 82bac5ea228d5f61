#include "impls/model/dtree.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <cmath>
#include <functional>

#include "impls/support/ensembles.h"
#include "impls/support/stock_tables.h"
#include "zel/util/progress_display.h"
#include "zel/util/run_context.h"

using namespace orvik::impls;
using namespace orvik::model;

namespace {

using setter = std::function<void(dtree&)>;

std::string built(const table& t, const setter& set) {
  dtree model("m");
  set(model);
  const std::unique_ptr<case_list> cases(t.get_all());
  model.build(&t, cases.get());
  return text_of(model);
}

struct parameter {
  const char* name;
  setter set, refused;
};
class model_parameters : public testing::TestWithParam<parameter> {};

TEST_P(model_parameters, count_unless_they_are_out_of_range) {
  const auto t = mixed_table(600, 31, true);
  const setter& set = GetParam().set;
  const setter& refused = GetParam().refused;
  const std::string by_default = built(*t, [](dtree&) {}), changed = built(*t, set);
  EXPECT_NE(changed, by_default);
  EXPECT_EQ(built(*t, refused), by_default);
  EXPECT_EQ(built(*t, [&](dtree& m) { set(m), refused(m); }), changed);
}

INSTANTIATE_TEST_SUITE_P(
    of, model_parameters,
    testing::Values(parameter{"split_type", [](dtree& m) { m.set_split_type(INFORMATION_GAIN); },
                              [](dtree& m) { m.set_split_type(N_SPLIT_TYPES); }},
                    parameter{"min_obj", [](dtree& m) { m.set_min_obj(12); },
                              [](dtree& m) {
                                for (const double w : {0.0, -1.0, std::nan("")}) m.set_min_obj(w);
                              }},
                    parameter{"conf_level", [](dtree& m) { m.set_conf_level(0.001); },
                              [](dtree& m) {
                                for (const double c : {0.0, 1.5, std::nan("")}) m.set_conf_level(c);
                              }},
                    parameter{"conf_level_1", [](dtree& m) { m.set_conf_level(1); },
                              [](dtree& m) { m.set_conf_level(1.0000001); }},
                    parameter{"max_depth", [](dtree& m) { m.set_max_depth(2); }, [](dtree&) {}},
                    parameter{"no_pruning", [](dtree& m) { m.set_pruning_strategy(NO_PRUNING); },
                              [](dtree&) {}}),
    [](const auto& row) { return row.param.name; });

TEST(model, needs_as_many_trees_as_its_kind_asks_for) {
  dtree model("m");
  model.set_forest(false, false, 1);
  for (const auto& [forest, bagging, n] : {std::tuple{false, false, 2UL},
                                           {false, false, 0UL},
                                           {true, false, 0UL},
                                           {true, true, 0UL}}) {
    EXPECT_THAT([&] { model.set_forest(forest, bagging, n); },
                testing::ThrowsMessage<std::runtime_error>("set_forest uncompatible parameters"));
  }
}

TEST(model, keeps_nothing_of_the_callers) {
  auto t = golf_table();
  auto cases = std::make_unique<case_list>();
  for (row_t row = 14; row-- > 0;) cases->emplace_back(row, 1.0);
  const case_list before = *cases;
  dtree model("m");
  model.build(t.get(), cases.get());
  EXPECT_EQ(*cases, before);
  cases.reset();
  t.reset();
  EXPECT_THAT(text_of(model), testing::HasSubstr("humidity > 75 : no"));
  EXPECT_EQ(model.get_training_table()->n_rows(), 0u);
  EXPECT_EQ(model.get_training_table()->n_columns(), 5u);
  EXPECT_EQ(model.get_tree(0)->get_node()->cases(), nullptr);
}

TEST(model, keeps_the_matrix_of_its_trees_as_they_are) {
  const auto t = mixed_table(300, 3, /*weighted=*/true);
  const std::unique_ptr<case_list> cases(t->get_all());
  dtree model("m"), plain("m");
  const auto errors = [](const dtree& m) { return m.get_training_cm()->err_misc(); };
  model.set_pruning_strategy(NO_PRUNING);
  model.build(t.get(), cases.get());
  EXPECT_EQ(errors(model), model.test(*t, *cases, nullptr)->err_misc());
  model.set_conf_level(0.001);
  model.set_pruning_strategy(EBP);
  const double before = errors(model);
  model.prune(t.get(), nullptr);
  EXPECT_GT(errors(model), before);
  EXPECT_EQ(errors(model), model.test(*t, *cases, nullptr)->err_misc());
  plain.set_keep_training_cm(false);
  plain.build(t.get(), cases.get());
  EXPECT_EQ(plain.get_training_cm(), nullptr);
}

TEST(model, built_again_takes_the_attributes_of_its_table) {
  const std::string rows = "p,p,a\np,p,a\nq,q,b\nq,q,b\n";
  const auto one = make_table("x,string,discrete\ny,string,ignore\nk,string,class\n", rows);
  const auto other = make_table("x,string,ignore\ny,string,discrete\nk,string,class\n", rows);
  const std::unique_ptr<case_list> cases(one->get_all());
  dtree model("m");
  for (const table* t : {one.get(), other.get()}) {
    model.build(t, cases.get());
    EXPECT_EQ(model.trees().size(), 3u);
    EXPECT_EQ(model.get_attributes(*t), t == one.get() ? "0" : "1");
  }
}

TEST(model, refuses_another_table_and_cases_that_are_none) {
  const auto t = golf_table(), again = golf_table();
  const auto other = make_table(k_golf_names, std::string(k_golf_rows) + "snowy,1,1,true,no\n");
  const std::unique_ptr<case_list> cases(t->get_all());
  const case_list none, negative{{3, -1}};
  const std::string other_table = "the table has other values than that of the training cases";
  const std::string no_training = "no training provided to build the tree";
  dtree model("m");
  const auto refuses = [](const std::string& message, auto call) {
    EXPECT_THAT(call, testing::ThrowsMessage<std::runtime_error>(message));
  };
  refuses(no_training, [&] { model.build(t.get(), nullptr); });
  refuses(no_training, [&] { model.build(t.get(), &none); });
  refuses("no cases provided to select features",
          [&] { model.feature_selection(t.get(), &none, nullptr); });
  refuses("set_training_cm with no eval_subset", [&] { model.set_training_cm(t.get(), nullptr); });
  refuses("a case weight that is negative or not finite: row 3",
          [&] { model.build(t.get(), &negative); });
  model.build(t.get(), cases.get());
  refuses(other_table, [&] { model.test(*other, *cases, nullptr); });
  refuses(other_table, [&] { model.prune(other.get(), nullptr); });
  refuses(other_table, [&] { model.oob_error(*other); });
  model.prune(again.get(), nullptr);
  EXPECT_EQ(model.test(*again, *cases, nullptr)->err_misc(), 0);
}

// Folds go on being counted while each is pruned.
TEST(pruning, is_told_by_its_name_where_growing_is_watched) {
  using zel::util::progress::unit;
  const auto t = mixed_table(60, 31, false);
  struct row {
    unit watched;
    pruning_strategy strategy;
    const char* stage;
  };
  for (const row& r :
       {row{unit::nodes, EBP, "pruning"}, row{unit::trees, MEP, "pruning"},
        row{unit::nodes, PRE_PRUNING_ONLY, nullptr}, row{unit::folds, EBP, nullptr}}) {
    zel::util::default_context().progress().begin(r.watched, 0);
    built(*t, [&r](dtree& m) { m.set_pruning_strategy(r.strategy); });
    EXPECT_STREQ(zel::util::progress::current_stage(), r.stage);
  }
}

TEST(pruning, takes_the_training_cases_where_they_are_too_few_to_be_split) {
  const auto t = mixed_table(60, 31, false);
  const case_list one(1, {7, 1.0});
  for (const auto strategy : {REP, REPG, MEP, MEPA}) {
    dtree model("m");
    model.set_pruning_strategy(strategy);
    model.build(t.get(), &one);
    EXPECT_EQ(model.trees().n_trees(), 1);
  }
}

}  // namespace
