#include <gtest/gtest.h>

#include "impls/support/table_text.h"
#include "impls/support/tree_builder.h"

using namespace orvik::impls;

namespace {

std::unique_ptr<table> named_table() {
  return make_table(
      "colour,string,discrete\nyes or no,string,class\nsize,double,continuous\nid,string,ignore\n",
      "red,no,1.25,x\ngreen,yes,2.5,y\n?,yes,1e6,z\n");
}

struct written {
  const char* name;
  tree_plan plan;
  std::string text;
};
class tree_text : public testing::TestWithParam<written> {};

TEST_P(tree_text, shows) {
  const auto t = named_table();
  EXPECT_EQ(text_of(*build_tree(GetParam().plan), *t), GetParam().text);
}

INSTANTIATE_TEST_SUITE_P(
    of, tree_text,
    testing::Values(
        written{"a_leaf", leaf({5, 9}), " yes (14.0/5.0)"},
        written{"a_leaf_without_error", leaf({3, 0}), " no (3.0)"},
        written{"an_empty_tree", leaf({0, 0}), " ? (0.0)"},
        written{"one_decimal", leaf({0.04, 1234567.25}), " yes (1234567.3/0.0)"},
        written{"branches_of_a_discrete_test", split(0, {leaf({1, 3}), leaf({4, 0})}),
                "\ncolour = green: yes (4.0/1.0)\ncolour = red: no (4.0)"},
        written{"an_empty_branch_as_its_father", split(0, {leaf({0, 0}), leaf({1, 4})}),
                "\ncolour = green: yes (0.0)\ncolour = red: yes (5.0/1.0)"},
        written{"a_cut", split(1, 2, {leaf({1, 3}), leaf({4, 0})}),
                "\nsize <= 2.500000 : yes (4.0/1.0)\nsize > 2.500000 : no (4.0)"},
        written{"other_branches_of_a_cut", split(1, 1, {leaf({1, 0}), leaf({2, 0}), leaf({3, 0})}),
                "\nsize <= 1.250000 : no (1.0)\nsize > 1.250000 : no (2.0)\nsize unknown 1.250000 "
                ": no (3.0)"},
        written{"a_test_that_no_tree_grows", split(2, {leaf({1, 0}), leaf({0, 1})}),
                "\nid # unhandled type ignore no (1.0)\nid # unhandled type ignore yes (1.0)"},
        written{"levels",
                split(0, {leaf({1, 0}),
                          split(1, 1, {split(0, {leaf({2, 0}), leaf({0, 2})}), leaf({0, 3})})}),
                "\ncolour = green: no (1.0)"
                "\ncolour = red:"
                "\n|   size <= 1.250000 :"
                "\n|   |   colour = green: no (2.0)"
                "\n|   |   colour = red: yes (2.0)"
                "\n|   size > 1.250000 : yes (3.0)"}),
    [](const auto& row) { return row.param.name; });

TEST(tree_text_levels, start_where_asked_and_leave_the_format) {
  const auto t = named_table();
  const auto tree = build_tree(split(0, {leaf({1, 0}), leaf({0, 1})}));
  std::ostringstream out;
  tree->toTEXT(*t, out, 2);
  out << ' ' << 0.25;
  EXPECT_EQ(out.str(), "\n|   |   colour = green: no (1.0)\n|   |   colour = red: yes (1.0) 0.2");
}

}  // namespace
