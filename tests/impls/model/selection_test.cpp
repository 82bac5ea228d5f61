// Models whose attributes are searched before they are grown.
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "impls/support/binary_text.h"
#include "impls/support/ensembles.h"
#include "impls/support/every_subset.h"
#include "impls/support/stock_tables.h"

namespace orvik::impls {
namespace {

TEST(selecting_model, is_grown_on_all_its_cases_with_what_it_found) {
  const auto t = noisy_table(9, 200, 4, /*weighted=*/true);
  const std::unique_ptr<case_list> all(t->get_all());
  for (const bool forest : {false, true}) {
    const run_seed seed(6);
    dtree searching("m");
    searching.set_fs(model::FORWARD, 0);
    if (forest) searching.set_forest(true, false, 5);
    searching.build(t.get(), all.get());
    const std::string found = searching.get_attributes(*t), text = text_of(searching);
    const std::string log = searching.get_as_logs();
    EXPECT_LT(searching.nfeatures(), 9);
    EXPECT_NE(searching.get_as_logs().find("forward"), std::string::npos);

    // The search again by itself, and the tree with its attributes.
    zel::util::set_seed(6);
    dtree chosen("m");
    chosen.set_fs(model::FORWARD, 0);
    chosen.feature_selection(t.get(), all.get(), nullptr);
    EXPECT_EQ(chosen.get_attributes(*t), found);
    EXPECT_EQ(chosen.get_as_logs(), log);
    // The next build does not go on with what this one found.
    searching.set_fs(model::NO_SELECTION, 0);
    searching.build(t.get(), all.get());
    EXPECT_EQ(searching.get_attributes(*t), "0,1,2,3,4,5,6,7,8");
    if (forest) continue;
    chosen.set_fs(model::NO_SELECTION, 0);
    chosen.build(t.get(), all.get());
    EXPECT_EQ(text_of(chosen), text);
  }
}

TEST(selecting_model, shows_and_saves_what_it_found) {
  // The class is a, or b of equal worth; the earlier one stays.
  std::string rows;
  for (int i = 0; i < 40; ++i) rows += i % 2 == 0 ? "1,p,p,x\n" : "2,q,q,y\n";
  const auto t = make_table(
      "skip,string,ignore\na,string,discrete\nb,string,discrete\nk,string,class\n", rows);
  dtree found("m");
  found.set_fs(model::BACKWARD, 0);
  found.feature_selection(t.get(), nullptr, nullptr);
  EXPECT_EQ(found.nfeatures(), 1);
  EXPECT_EQ(found.get_attributes(*t), "1");
  found.set_fs(model::NO_SELECTION, 0);
  const std::unique_ptr<case_list> all(t->get_all());
  found.build(t.get(), all.get());
  EXPECT_THAT(text_of(found), testing::StartsWith("\nFEATURES SELECTED (size= 1) a\n\nDECISION"));

  dtree loaded("");
  read_all(binary_of([&](auto& out) { out << found; }), [&](auto& in) { in >> loaded; });
  EXPECT_EQ(text_of(loaded), text_of(found));
  EXPECT_EQ(text_of(*found.clone(/*parameters_only=*/false)), text_of(found));
  // Without a method the search is taken back.
  found.feature_selection(t.get(), nullptr, nullptr);
  EXPECT_EQ(found.get_attributes(*t), "1,2");
  found.build(t.get(), all.get());
  EXPECT_THAT(text_of(found), testing::StartsWith("\nDECISION"));
}

TEST(selecting_model, takes_all_attributes_where_cases_are_few_and_none_where_none_help) {
  const auto two = make_table("a,string,discrete\nk,string,class\n", "1,x\n2,y\n");
  const std::unique_ptr<case_list> one(two->get_first_n(1));
  dtree model("m");
  model.set_fs(model::BACKWARD, 0);
  model.build(two.get(), one.get());
  EXPECT_THAT(model.get_as_logs(), testing::HasSubstr("too few cases"));
  EXPECT_EQ(model.get_attributes(*two), "0");

  std::string rows;
  for (int i = 0; i < 30; ++i)
    rows += (i % 2 == 0 ? "1," : "2,") + std::string(i < 4 ? "x\n" : "y\n");
  const auto useless = make_table("a,string,discrete\nk,string,class\n", rows);
  const std::unique_ptr<case_list> all(useless->get_all());
  for (const auto method : {model::ACCEPTABLE_SUBSET, model::EXHAUSTIVE, model::FORWARD,
                            model::OPTIMISED_BACKWARD, model::BACKWARD}) {
    dtree none("m");
    none.set_fs(method, 0);
    none.set_forest(true, false, 3);
    none.build(useless.get(), all.get());
    EXPECT_EQ(none.get_attributes(*useless), "") << method;
    EXPECT_EQ(none.trees().size(), 3);
  }
}

}  // namespace
}  // namespace orvik::impls
