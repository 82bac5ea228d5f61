#include <gtest/gtest.h>

#include "impls/support/stock_tables.h"
#include "impls/support/tree_builder.h"

using namespace orvik::impls;

namespace {

struct growing {
  orvik::model::split_type type = orvik::model::GAIN_RATIO;
  double min_weight = 2;
  unsigned long max_depth = k_no_depth_limit;
};

std::unique_ptr<decision_tree> grow(const table& t, unsigned long workers = 1,
                                    const growing& rules = {}) {
  const loop_threads threads(workers);
  const std::unique_ptr<case_list> cases(t.get_all());
  auto tree = std::make_unique<decision_tree>();
  zel::util::parallel::with_workers([&] {
    tree->build(t, cases.get(), rules.type, rules.min_weight, rules.max_depth, nullptr, nullptr);
  });
  return tree;
}

TEST(growing, spends_the_depth_it_is_given) {
  const auto t = golf_table();
  for (const unsigned long workers : {1UL, 3UL}) {
    EXPECT_EQ(text_of(*grow(*t, workers, {.max_depth = 0}), *t), " yes (14.0/5.0)");
    EXPECT_EQ(text_of(*grow(*t, workers, {.max_depth = 1}), *t),
              "\noutlook = overcast: yes (4.0)"
              "\noutlook = rainy: yes (5.0/2.0)"
              "\noutlook = sunny: no (5.0/2.0)");
  }
  const auto mixed = mixed_table(600, 5, true);
  for (const unsigned long depth : {0UL, 1UL, 4UL}) {
    const auto tree = grow(*mixed, 7, {.max_depth = depth});
    EXPECT_EQ(tree->depth(), depth + 1);
    EXPECT_EQ(exact_text_of(*tree, *mixed),
              exact_text_of(*grow(*mixed, 1, {.max_depth = depth}), *mixed));
  }
}

void expect_consistent(const decision_tree& tree, const table& t, double min_weight) {
  zel::adt::walk(
      tree,
      [&](const decision_tree& at, unsigned long) {
        const decision_node& node = *at.get_node();
        EXPECT_FALSE(node.is_active());
        EXPECT_EQ(node.cases(), nullptr);
        EXPECT_EQ(node.is_split(), at.get_no_childs() > 0);
        if (!node.is_split()) {
          EXPECT_EQ(node.estimated_error(), node.get_estimated_error_if_leaf());
          return true;
        }
        EXPECT_GE(node.weight(), 2 * min_weight);
        EXPECT_GT(node.get_estimated_error_if_leaf(), 0);
        EXPECT_EQ(at.get_no_childs(), node.get_no_of_splits(t));
        double below = 0, fractions = 0;
        unsigned large = 0;
        for (unsigned i = 0; i < at.get_no_childs(); ++i) {
          const decision_node& child = *at.get_child(i)->get_node();
          EXPECT_EQ(child.father(), &node);
          EXPECT_EQ(child.position(), i + 1);
          below += child.weight();
          fractions += child.fraction();
          large += child.weight() >= min_weight;
        }
        EXPECT_NEAR(below, node.weight(), 1e-9 * node.weight());
        EXPECT_NEAR(fractions, 1, 1e-9);
        EXPECT_GE(large, 2u);
        return true;
      },
      [](const decision_tree&, unsigned long) {});
}

struct plot {
  const char* name;
  unsigned long seed;
  bool weighted;
  growing rules;
};
class growing_on : public testing::TestWithParam<plot> {};

TEST_P(growing_on, any_number_of_threads_gives_one_consistent_tree) {
  const auto& [name, seed, weighted, rules] = GetParam();
  const auto t = mixed_table(2000, seed, weighted);
  const auto tree = grow(*t, 1, rules);
  EXPECT_GT(tree->size(), 50u);
  expect_consistent(*tree, *t, rules.min_weight);
  const std::string text = text_of(*tree, *t), exact = exact_text_of(*tree, *t);
  const std::unique_ptr<decision_tree> copy(tree->clone(*t, nullptr));
  EXPECT_EQ(exact_text_of(*copy, *t), exact);
  for (const unsigned long workers : {1UL, 2UL, 7UL}) {
    const auto again = grow(*t, workers, rules);
    EXPECT_EQ(text_of(*again, *t), text);
    EXPECT_EQ(exact_text_of(*again, *t), exact);

    const loop_threads threads(workers);  // the parallel way, also on one thread
    const std::unique_ptr<case_list> cases(t->get_all());
    decision_tree parallel;
    parallel.set_node(new decision_node(cases.get()));
    parallel.get_node()->activate(t.get(), false);
    zel::util::parallel::with_workers(
        [&] { parallel.build_par(*t, rules.type, rules.min_weight, rules.max_depth, nullptr); });
    EXPECT_EQ(exact_text_of(parallel, *t), exact);
  }
}

INSTANTIATE_TEST_SUITE_P(
    random_tables, growing_on,
    testing::Values(plot{"plain", 1, false, {}}, plot{"weighted", 2, true, {}},
                    plot{"gain", 3, true, {orvik::model::INFORMATION_GAIN, 1, k_no_depth_limit}},
                    plot{"pure", 4, false, {orvik::model::PURE_GAIN_RATIO, 5, k_no_depth_limit}}),
    [](const auto& row) { return row.param.name; });

}  // namespace
