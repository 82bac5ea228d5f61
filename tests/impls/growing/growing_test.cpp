#include <gtest/gtest.h>

#include <random>

#include "impls/growing/count_partition.h"
#include "impls/growing/growing_plan.h"
#include "impls/growing/packed_growing.h"
#include "impls/support/stock_tables.h"
#include "impls/support/tree_builder.h"
#include "zel/util/quick_gen.h"

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
  zel::util::default_context().with_workers([&] {
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

// Equal neighbours among the values of a continuous attribute: their middle is the upper one, and a
// cut there would keep all cases on one side for ever.
TEST(growing, ends_whatever_the_values_are) {
  for (const char* weights : {"", ",2"}) {
    std::string rows;
    for (int i = 0; i < 60; ++i) rows += (i % 2 ? "1,a" : "2,b") + std::string(weights) + '\n';
    const auto t = make_table(std::string("x,double,continuous\nk,string,class\n") +
                                  (*weights ? "w,double,weights\n" : ""),
                              rows);
    const_cast<o_set*>(t->column_of(0).values())->rescale(0);
    for (const unsigned long workers : {1UL, 3UL}) {
      const auto tree = grow(*t, workers, {.max_depth = 9});
      EXPECT_EQ(tree->size(), 3u);
      EXPECT_EQ(tree->get_child(1)->get_node()->n_cases(), 30u);
    }
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

    const loop_threads threads(workers);
    for (const bool by_tasks : {false, true}) {  // tasks also on one thread
      const std::unique_ptr<case_list> cases(t->get_all());
      decision_tree from_root;
      from_root.set_node(new decision_node(cases.get()));
      zel::util::default_context().with_workers([&] {
        if (by_tasks) {
          from_root.get_node()->activate(t.get(), false);
          from_root.build_par(*t, rules.type, rules.min_weight, rules.max_depth, nullptr);
        } else {
          from_root.build_from_root(*t, rules.type, rules.min_weight, rules.max_depth, nullptr,
                                    nullptr);
        }
      });
      EXPECT_EQ(exact_text_of(from_root, *t), exact);
    }
  }
}

INSTANTIATE_TEST_SUITE_P(
    random_tables, growing_on,
    testing::Values(plot{"plain", 1, false, {}}, plot{"weighted", 2, true, {}},
                    plot{"gain", 3, true, {orvik::model::INFORMATION_GAIN, 1, k_no_depth_limit}},
                    plot{"pure", 4, false, {orvik::model::PURE_GAIN_RATIO, 5, k_no_depth_limit}}),
    [](const auto& row) { return row.param.name; });

// Its draws have an order.
TEST(growing, from_a_root_draws_as_from_the_start_on_any_number_of_threads) {
  const auto t = mixed_table(2000, 9, false);
  for (const unsigned long workers : {1UL, 3UL}) {
    const loop_threads threads(workers);
    const std::unique_ptr<case_list> cases(t->get_all()), same(t->get_all());
    zel::util::rand_gen draw(t->n_attributes(), 5), again(t->n_attributes(), 5);
    decision_tree tree, from_root;
    tree.build(*t, cases.get(), orvik::model::GAIN_RATIO, 2, k_no_depth_limit, nullptr, &draw);
    from_root.set_node(new decision_node(same.get()));
    from_root.build_from_root(*t, orvik::model::GAIN_RATIO, 2, k_no_depth_limit, nullptr, &again);
    EXPECT_EQ(exact_text_of(from_root, *t), exact_text_of(tree, *t));
  }
}

/// Twelve boolean attributes, some of them rare, or in some tables most of them set, which
/// are measured in one pass, between and behind numbers that are sorted.
std::unique_ptr<table> flag_table(unsigned long rows, unsigned long seed, bool weighted) {
  std::mt19937_64 draw(seed);
  std::string names = "a,double,continuous\n", data;
  for (char f = 'b'; f < 'n'; ++f) {
    names += std::string(1, f) + ",string,discrete\n" + (f == 'h' ? "y,double,continuous\n" : "");
  }
  for (unsigned long i = 0; i < rows; ++i) {
    const unsigned long few = draw() & draw() & (i % 2 == 0 ? 0xfff : 0x0f7);
    const unsigned long bits = seed % 16 == 9 ? few ^ 0xfff : few;
    data += std::to_string(draw() % 500);
    for (unsigned f = 0; f < 12; ++f) {
      data += bits >> f & 1 ? ",1" : ",0";
      if (f == 6) data += ',' + std::to_string(draw() % 300);
    }
    data += ",c" + std::to_string(draw() % 3 == 0 ? bits % 5 : bits >> 3 & 3);
    data +=
        weighted ? ',' + std::to_string(0.1 * static_cast<double>(1 + draw() % 9)) + '\n' : "\n";
  }
  return make_table(names + "k,string,class\n" + (weighted ? "w,double,weights\n" : ""), data);
}

/// That of its branch, branch by branch from the root.
unsigned long seed_of(const decision_node& node) {
  if (node.father() == nullptr) return 7;
  return zel::util::spread(seed_of(*node.father()) ^ zel::util::spread(node.position()));
}

/// Of cases as where rows or codes are too many for narrow forms.
growing_plan plan_of_lists(const table& t) {
  growing_plan plan(t, orvik::model::GAIN_RATIO, 2, nullptr);
  plan.keep_case_lists();
  return plan;
}

void expect_the_same_on_lists(const table& t, const case_list& cases, zel::util::rand_gen* draws,
                              const std::string& expected) {
  case_list own(cases);
  decision_tree tree;
  tree.build(plan_of_lists(t), &own, k_no_depth_limit, draws);
  EXPECT_EQ(exact_text_of(tree, t), expected);
  expect_consistent(tree, t, 2);
}

void expect_as_node_by_node(const table& t, unsigned round, bool drawn, bool forest) {
  const std::unique_ptr<case_list> all(t.get_all());
  case_list cases(*all);
  if (drawn) {  // with repetitions, in no order
    std::mt19937_64 draw(round);
    for (auto& c : cases) c = (*all)[draw() % all->size()];
  }
  case_list own(cases);
  const case_list untouched(cases);
  zel::util::rand_gen draws(1, round), same_draws(1, round);
  const auto expected = grow_level_by_level(t, own, [&](decision_node& node, unsigned long) {
    node.split(t, {orvik::model::GAIN_RATIO, 2, nullptr, t.n_attributes()},
               forest ? &draws : nullptr);
  });
  decision_tree tree;
  tree.build(t, &cases, orvik::model::GAIN_RATIO, 2, k_no_depth_limit, nullptr,
             forest ? &same_draws : nullptr);
  EXPECT_GT(tree.size(), 30u);
  EXPECT_EQ(exact_text_of(tree, t), exact_text_of(*expected, t));
  EXPECT_EQ(cases.size(), untouched.size());  // a plan may be told to empty the list

  if (round % 5 == 1) {
    zel::util::rand_gen list_draws(1, round);
    expect_the_same_on_lists(t, untouched, forest ? &list_draws : nullptr,
                             exact_text_of(*expected, t));
  }
  if (round % 8 != 1) return;
  const orvik::growth few{{orvik::attribute_draw::COUNT, 2}, true, false, true},
      cuts{{}, true, /*random_cuts=*/true, false};
  const loop_threads threads(3);
  for (const orvik::growth& how : {few, cuts}) {
    case_list again(untouched), once_more(untouched);
    const auto seeded = grow_level_by_level(t, again, [&](decision_node& node, unsigned long) {
      node.split(t, {orvik::model::GAIN_RATIO, 1, nullptr, t.n_attributes(), how}, nullptr,
                 seed_of(node));
    });
    const growing_plan plan(t, orvik::model::GAIN_RATIO, 1, nullptr, zel::util::default_context(),
                            how);
    zel::util::default_context().with_workers(
        [&] { tree.build(plan, &once_more, k_no_depth_limit, nullptr, /*seed=*/7); });
    EXPECT_EQ(exact_text_of(tree, t), exact_text_of(*seeded, t));
  }
}

TEST(growing, on_counted_and_weighed_cases_agrees_with_growing_node_by_node) {
  for (unsigned round = 0; round < 48; ++round) {
    SCOPED_TRACE(round);
    const bool unknown = round % 2 == 1, drawn = round % 4 > 1, forest = round % 3 == 2;
    const bool weighted = round >= 24;
    const unsigned long rows = 400 + 150 * (round % 24);
    expect_as_node_by_node(*mixed_table(rows, round, weighted, unknown), round, drawn, forest);
    if (unknown) expect_as_node_by_node(*flag_table(rows, round, weighted), round, drawn, forest);
  }
  // Few are unknown: cases are counted down to small nodes, whose order then matters.
  for (unsigned round = 0; round < 12; ++round) {
    expect_as_node_by_node(*mixed_table(2000, round, false, true, 300), round, false,
                           round % 3 == 2);
  }
}

TEST(growing, on_lists_leaves_out_what_is_empty_too) {
  std::mt19937_64 draw(1);
  std::string rows;
  for (int i = 0; i < 200; ++i) {
    for (int a = 0; a < 3; ++a) rows += std::to_string(draw() % 6) + ',';
    rows += draw() % 2 ? "yes\n" : "no\n";
  }
  const auto t =
      make_table("a,string,discrete\nb,string,discrete\nc,string,discrete\nk,string,class\n", rows);
  const auto packed = [&](growing_plan plan) {
    plan.leave_out_empty_leaves(true);
    const std::unique_ptr<case_list> cases(t->get_all());
    return grow_packed(plan, *cases, k_no_depth_limit, /*seed=*/0);
  };
  const packed_tree found = packed(plan_of_lists(*t));
  EXPECT_GT(found.size(), found.unpack(/*complete=*/false)->size());
  EXPECT_EQ(found.to_bytes(), packed({*t, orvik::model::GAIN_RATIO, 2, nullptr}).to_bytes());
}

// A thread keeps it and grows on after an error.
TEST(untouched_cases, have_no_room_after_memory_was_short) {
  orvik::impls::growing::untouched_cases cases;
  cases.make_room(4);
  EXPECT_THROW(cases.make_room(SIZE_MAX / 2), std::bad_alloc);
  cases.make_room(1);
  EXPECT_NE(cases.begin(), nullptr);
}

}  // namespace
