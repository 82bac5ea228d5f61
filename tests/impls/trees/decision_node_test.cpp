#include "impls/trees/decision_node.h"

#include <gtest/gtest.h>

#include <set>

#include "impls/support/stock_tables.h"
#include "impls/support/tree_builder.h"

using namespace orvik::impls;
using namespace orvik::model;

namespace {

/// An active root over all rows of a table.
struct rooted {
  std::unique_ptr<table> t;
  std::unique_ptr<case_list> cases;
  decision_node node;

  explicit rooted(std::unique_ptr<table> from)
      : t(std::move(from)), cases(t->get_all()), node(cases.get()) {
    node.activate(t.get(), false);
  }
  void split(split_type type = GAIN_RATIO, double m = 2, const zel::adt::bitmap* usable = nullptr) {
    node.split(*t, {type, m, usable, t->n_attributes()}, nullptr);
  }
};

struct stop {
  const char* name;
  const char* rows;  // of a discrete value, a class and a weight
  double min_weight;
  bool usable, splits;
};
class splitting_stops : public testing::TestWithParam<stop> {};

TEST_P(splitting_stops, at_nodes_that_are_finished) {
  rooted root(make_table("a,string,discrete\nc,string,class\nw,double,weights\n", GetParam().rows));
  zel::adt::bitmap usable;
  usable.resize(1);
  if (GetParam().usable) usable.set_all();
  root.split(GAIN_RATIO, GetParam().min_weight, &usable);
  EXPECT_EQ(root.node.is_split(), GetParam().splits);
  if (GetParam().splits) return;
  EXPECT_EQ(root.node.get_status(), decision_node::LEAF);
  EXPECT_EQ(root.node.estimated_error(), root.node.get_estimated_error_if_leaf());
}

INSTANTIATE_TEST_SUITE_P(of, splitting_stops,
                         testing::Values(stop{"mixed", "x,p,2\ny,q,2\n", 2, true, true},
                                         stop{"light", "x,p,2\ny,q,1.9\n", 2, true, false},
                                         stop{"thin_branch", "x,p,3\ny,q,1.9\n", 2, true, false},
                                         stop{"thin_branch_beside_unknown",
                                              "x,p,3\ny,q,1.9\n?,q,9\n", 2, true, false},
                                         // The cases of weight 0 do not spoil the other class.
                                         stop{"pure", "x,p,4\ny,p,4\ny,q,0\n", 2, true, false},
                                         stop{"one_value", "x,p,4\nx,q,4\n", 2, true, false},
                                         stop{"no_attribute", "x,p,4\ny,q,4\n", 2, false, false}),
                         [](const auto& row) { return row.param.name; });

// 16 cases, 8 of each class. Attribute a puts two of one class aside: gain 0.138, split
// information 0.544, ratio 0.254. Attribute b has four branches of 3 and 1: gain 0.189, split
// information 2, ratio 0.094. Their average gain is 0.163, so the gain ratio does not look at a.
constexpr char k_ratio_names[] = "a,string,discrete\nb,string,discrete\nc,string,class\n";
constexpr char k_ratio_rows[] =
    "x,1,p\nx,1,p\ny,1,p\ny,1,q\ny,2,p\ny,2,p\ny,2,p\ny,2,q\n"
    "y,3,q\ny,3,q\ny,3,q\ny,3,p\ny,4,q\ny,4,q\ny,4,q\ny,4,p\n";

TEST(decision_node, split_types_weigh_gain_and_split_information) {
  rooted root(make_table(k_ratio_names, k_ratio_rows));
  for (const auto& [type, attribute] :
       {std::pair{INFORMATION_GAIN, 1u}, {PURE_GAIN_RATIO, 0u}, {GAIN_RATIO, 1u}}) {
    root.split(type);
    EXPECT_TRUE(root.node.is_split());
    EXPECT_EQ(root.node.attribute(), attribute) << "type " << type;
  }
}

// Eight attributes alike: the first is taken, of the four that a forest's node draws another one
// too.
TEST(decision_node, of_a_forest_draws_attributes) {
  std::string names = "c,string,class\n", p = "p", q = "q";
  for (const char name : {'a', 'b', 'd', 'e', 'f', 'g', 'h', 'i'}) {
    names += std::string(1, name) + ",string,discrete\n";
    p += ",x", q += ",y";
  }
  rooted root(make_table(names, p + "\n" + p + "\n" + q + "\n" + q + "\n"));
  std::set<unsigned int> tested[2];
  for (int round = 0; round < 60; ++round) {
    for (const bool forest : {false, true}) {
      root.node.split(*root.t, GAIN_RATIO, 2, nullptr, 8, forest);
      tested[forest].insert(root.node.attribute());
    }
  }
  EXPECT_EQ(tested[0], (std::set<unsigned int>{0}));
  EXPECT_GT(tested[1].size(), 1u);
  EXPECT_LE(*tested[1].rbegin(), 4u);  // there are four before the last four
}

// Value x has weight 3 of the known 4: cases of unknown value go there with 0.75 of their weight.
TEST(decision_node, a_branch_gets_its_share_of_the_unknown_cases) {
  rooted root(
      make_table("a,string,discrete\nc,string,class\nw,double,weights\n", "x,p,3\ny,q,1\n?,q,2\n"));
  root.node.set_test(orvik::impls::split_test{0});
  decision_node x(&root.node, 1), y(&root.node, 2);
  x.activate(root.t.get(), false);
  y.activate(root.t.get(), false);
  EXPECT_EQ(*x.cases(), (case_list{{0, 3}, {2, 1.5}}));
  EXPECT_EQ(*y.cases(), (case_list{{1, 1}, {2, 0.5}}));
  EXPECT_EQ(x.fraction(), 0.75);
  EXPECT_EQ(x.weight(), 4.5);
  EXPECT_EQ(x.class_weight(2), 1.5);
  EXPECT_EQ(x.range(0), code_range(1, 2));
  const std::unique_ptr<case_list> all(x.select(*root.t, root.cases.get(), true));
  const std::unique_ptr<case_list> known(x.select(*root.t, root.cases.get(), false));
  EXPECT_EQ(*all, *x.cases());
  EXPECT_EQ(*known, (case_list{{0, 3}}));

  x.activate_from_father(root.t.get(), true);  // takes all cases and the father's place
  EXPECT_EQ(x.weight(), 6);
  EXPECT_EQ(x.father(), nullptr);
  EXPECT_EQ(x.position(), 0u);
  EXPECT_EQ(x.fraction(), 1);
}

TEST(decision_node, refuses_what_takes_a_father_or_cases_that_it_has_not) {
  rooted root(make_table("a,string,discrete\nc,string,class\n", "x,p\ny,q\n"));
  const auto& t = *root.t;
  EXPECT_THROW(decision_node(&root.node, 1).activate(&t, false), std::runtime_error);  // no split
  EXPECT_THROW(static_cast<void>(root.node.select(t, root.cases.get(), true)), std::runtime_error);
  EXPECT_THROW(root.node.activate_from_father(&t, false), std::runtime_error);
  root.node.set_test(orvik::impls::split_test{0});
  decision_node x(&root.node, 1);
  EXPECT_THROW(x.activate(nullptr, true), std::runtime_error);
  EXPECT_THROW(x.activate_from_father(nullptr, false), std::runtime_error);
  EXPECT_THROW(x.split(t, orvik::model::GAIN_RATIO, 1, nullptr, 1, false), std::runtime_error);
  root.node.disactivate();
  EXPECT_THROW(x.activate(&t, /*activate_father=*/false), std::runtime_error);
  EXPECT_THROW(x.activate_from_father(&t, false), std::runtime_error);
}

}  // namespace
