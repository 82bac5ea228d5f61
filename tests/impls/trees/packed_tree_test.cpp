// Packed trees say what the trees that were packed say, to the last bit.
#include "impls/trees/packed_tree.h"

#include <gtest/gtest.h>

#include <functional>
#include <limits>
#include <random>

#include "impls/evaluation/batch_predictor.h"
#include "impls/growing/growing_plan.h"
#include "impls/growing/packed_growing.h"
#include "impls/support/binary_text.h"
#include "impls/support/stock_tables.h"
#include "impls/support/tree_builder.h"
#include "impls/trees/stored_tree.h"

using namespace orvik::impls;

namespace {

std::string bytes_of(const decision_tree& tree, const table& t) {
  return binary_of([&](auto& out) { tree.bin_out(out, &t); });
}

std::vector<outcome> outcomes_of(const table& t, const voter& asked,
                                 const std::vector<std::uint32_t>& codes) {
  const batch_predictor predictor(t, {asked}, batch_predictor::answer::of_one,
                                  zel::util::default_context());
  std::vector<outcome> found(codes.size() / t.n_attributes());
  predictor.predict({codes, t.n_attributes()}, found);
  return found;
}

/// All that is asked of a tree: its bytes, measures, and predictions of cases drawn at random, a
/// fifth of their values unknown.
void expect_same(const table& t, const decision_tree& tree, const packed_tree& packed) {
  const std::string bytes = bytes_of(tree, t);
  EXPECT_EQ(bytes_of(*packed.unpack(true), t), bytes);
  EXPECT_EQ(bytes_of(*packed.unpack(false), t), bytes);
  stored_tree from_file;
  for (int i = 0; i < 2; ++i) read_all(bytes, [&](auto& in) { from_file.read(in, t); });
  EXPECT_EQ(bytes_of(*packed_tree(t, from_file).unpack(true), t), bytes);
  EXPECT_EQ(packed_tree(t, from_file).bytes(), packed.bytes());
  const auto complete = packed.unpack(true);
  EXPECT_EQ(packed.size(), complete->size());
  EXPECT_EQ(packed.leaves(), complete->leaves());
  EXPECT_EQ(packed.depth(), complete->depth());
  EXPECT_EQ(packed.epl(), complete->epl());
  zel::adt::bitmap used, of_packed;
  used.resize(t.n_attributes());
  of_packed.resize(t.n_attributes());
  complete->set_used_atts(used);
  packed.set_used_atts(of_packed);
  EXPECT_EQ(of_packed.toCSV(), used.toCSV());

  std::mt19937 draw(5);
  std::vector<std::uint32_t> all;
  std::vector<double> expected;  // class, confidence, depth
  for (int i = 0; i < 60; ++i) {
    std::vector<code_t> codes;
    for (unsigned long a = 0; a < t.n_attributes(); ++a) {
      const unsigned long n = t.column_of(a).values()->size_of_known();
      codes.push_back(draw() % 5 == 0 ? k_unknown : 1 + draw() % n);
    }
    all.insert(all.end(), codes.begin(), codes.end());
    decision_tree::prediction a, b;
    expected.push_back(complete->predict_class(t, codes, a, 1, 0));
    ASSERT_EQ(packed.predict_class(t, codes, b, 1, 0), expected.back());
    ASSERT_EQ(a, b);
    std::vector<double> shares(t.n_class_codes()), of_other(shares), likely(shares), other(shares);
    complete->add_shares(codes, 0.7, shares);
    packed.add_shares(codes, 0.7, of_other);
    EXPECT_EQ(shares, of_other);
    complete->add_probabilities(codes, 0.7, likely);
    packed.add_probabilities(codes, 0.7, other);
    EXPECT_EQ(likely, other);
    const std::vector<std::uint32_t> narrow(codes.begin(), codes.end());
    for (const voter& asked : {voter{&tree}, voter{&packed}}) {
      const outcome found = outcomes_of(t, asked, narrow)[0];
      ASSERT_EQ(decision_tree::prediction(found.predicted, found.confidence), a);
      ASSERT_EQ(found.depth, expected.back());
    }
  }
  const auto blocks = outcomes_of(t, {&packed}, all);
  for (std::size_t i = 0; i < blocks.size(); ++i) EXPECT_EQ(blocks[i].depth, expected[i]) << i;
}

/// Texts of 60 values in 300 rows, so that most branches of a second split stay empty; and numbers.
std::unique_ptr<table> many_valued_table(bool unknown) {
  std::mt19937 draw(2);
  std::string data;
  for (int row = 0; row < 300; ++row) {
    const auto a = draw() % 60, b = draw() % 60, n = draw() % 9;
    data += "u" + std::to_string(a) + "," + (unknown && n == 3 ? "?" : "v" + std::to_string(b)) +
            "," + std::to_string(n) + ",k" + std::to_string((a + b / 7 + draw() % 2) % 3) + "\n";
  }
  return make_table("a,string,discrete\nb,string,discrete\nn,integer,continuous\nc,string,class\n",
                    data);
}

TEST(packed_trees, say_what_grown_trees_say) {
  const std::unique_ptr<table> tables[] = {many_valued_table(false), many_valued_table(true),
                                           mixed_table(400, 4, false, false),
                                           mixed_table(400, 5, false), mixed_table(400, 6, true)};
  for (const auto& t : tables) {
    for (const bool one_value : {false, true}) {
      SCOPED_TRACE(std::to_string(&t - tables) + (one_value ? " one value" : ""));
      orvik::growth how;
      how.one_value = one_value;
      growing_plan plan(*t, orvik::model::INFORMATION_GAIN, 1, nullptr,
                        zel::util::default_context(), how);
      const std::unique_ptr<case_list> all(t->get_all());
      case_list some(all->begin(), all->begin() + 250), again(some), once_more(some);
      decision_tree complete, slim;
      complete.build(plan, &some, k_no_depth_limit, nullptr);
      plan.leave_out_empty_leaves(true);
      slim.build(plan, &again, k_no_depth_limit, nullptr);
      expect_same(*t, slim, packed_tree(*t, complete));
      expect_same(*t, complete, packed_tree(*t, slim));
      const packed_tree at_once = grow_packed(plan, once_more, k_no_depth_limit, 0);
      slim.set_estimated_error_from_leaf_error();
      EXPECT_EQ(bytes_of(*at_once.unpack(false), *t), bytes_of(slim, *t));
      EXPECT_EQ(at_once.bytes(), packed_tree(*t, slim).bytes());
      slim.prune_dt(*t, 0.25, decision_tree::CFCoefficient(0.25));
      complete.prune_dt(*t, 0.25, decision_tree::CFCoefficient(0.25));
      expect_same(*t, complete, packed_tree(*t, slim));
    }
  }
}

/// Everything that a file may say of a node, whether or not it fits together.
TEST(packed_trees, keep_any_statistics) {
  const auto t = many_valued_table(false);
  std::mt19937 draw(7);
  const double odd[] = {0.0,   -0.0,  1.0,    2.0,    3.0,    1e-300, 0.1,
                        1e300, 128.0, 16384., 0x1p52, 0x1p53, 0x1p60, 300.0};
  const auto number = [&] { return odd[draw() % std::size(odd)]; };
  for (int round = 0; round < 200; ++round) {
    const auto tree =
        build_tree(split(2, 4, {split(2, 2, {leaf({1, 0, 2}), leaf({0, 0, 0})}), leaf({0, 5, 0})}));
    std::vector<decision_tree*> nodes{tree.get(), tree->get_child(0), tree->get_child(1),
                                      tree->get_child(0)->get_child(0),
                                      tree->get_child(0)->get_child(1)};
    for (decision_tree* at : nodes) {
      if (draw() % 3 == 0) continue;
      auto by_code = std::make_unique<double[]>(t->n_class_codes());
      for (unsigned long c = 0; c < t->n_class_codes(); ++c) by_code[c] = number();
      const double error = draw() % 9 == 0 ? std::numeric_limits<double>::quiet_NaN() : number();
      at->get_node()->set_statistics({std::move(by_code), number(), number(), error, draw() % 300,
                                      static_cast<class_t>(draw() % t->n_class_codes())});
    }
    // A leaf that could be taken for an empty one, but for one of these.
    const unsigned but = draw() % 6;
    auto none = std::make_unique<double[]>(t->n_class_codes());
    none[1] = but == 0 ? 1 : 0;
    nodes.back()->get_node()->set_statistics(
        {std::move(none), but == 1 ? 1.0 : 0, but == 2 ? 1.0 : 0, but == 3 ? 1.0 : 0,
         but == 4 ? 3UL : 0, but == 5 ? class_t{1} : class_t{0}});
    ASSERT_EQ(bytes_of(*packed_tree(*t, *tree).unpack(true), *t), bytes_of(*tree, *t)) << round;
  }
}

// Where no case came, what is likely is said by the nearest node above, however little it weighs.
TEST(packed_trees, go_by_nodes_of_any_weight) {
  const auto t = many_valued_table(false);
  const auto tree = build_tree(
      split(2, 4, {split(2, 2, {leaf({0.25, 0, 0.5}), leaf({0, 0, 0})}), leaf({0, 5, 0})}));
  expect_same(*t, *tree, packed_tree(*t, *tree));
}

TEST(packed_trees, take_few_bytes_and_none_for_branches_without_cases) {
  const auto t = many_valued_table(false);
  const std::unique_ptr<case_list> all(t->get_all());
  growing_plan plan(*t, orvik::model::INFORMATION_GAIN, 1, nullptr);
  plan.leave_out_empty_leaves(true);
  decision_tree tree;
  tree.build(plan, all.get(), k_no_depth_limit, nullptr);
  const packed_tree packed(*t, tree);
  EXPECT_GT(packed.size(), 5 * tree.size());  // most branches are empty
  EXPECT_LT(packed.bytes(), 12 * tree.size());
}

TEST(packed_trees, may_be_of_any_depth) {
  constexpr unsigned long k_levels = 100000;
  const auto t = make_table("n,integer,continuous\nc,string,class\n", "1,p\n2,q\n");
  const auto deep = build_path(k_levels, [](unsigned long) { return std::vector<double>{1, 1}; });
  const packed_tree packed(*t, *deep);
  EXPECT_EQ(packed.depth(), k_levels + 1);
  EXPECT_EQ(bytes_of(*packed.unpack(true), *t), bytes_of(*deep, *t));
}

}  // namespace
