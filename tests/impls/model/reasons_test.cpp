#include "orvik/reasons.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <bit>
#include <cmath>
#include <random>

#include "impls/model/explainer.h"
#include "impls/support/ensembles.h"
#include "impls/support/every_subset.h"
#include "impls/support/stock_tables.h"
#include "impls/support/tree_builder.h"

using namespace orvik::impls;

namespace {

using testing::DoubleNear;
using testing::Pointwise;

using numbers = std::vector<double>;
using narrow_codes = std::vector<std::uint32_t>;

/// The contributions of every attribute of a tree to every class: by attribute, then class code.
numbers parts_of(const table& t, const decision_tree& tree, const narrow_codes& codes) {
  const shapley_tree made(t, {&tree}, empty_leaves::as_known);
  std::vector<shapley_tree::lane_codes> lanes(codes.size());
  narrow_codes place_of;
  for (std::size_t a = 0; a < codes.size(); ++a) {
    lanes[a].fill(codes[a]);
    place_of.push_back(static_cast<std::uint32_t>(a));
  }
  std::vector<shapley_tree::lanes> sums(codes.size() * t.n_class_codes());
  shapley_tree::workspace work(codes.size());
  made.add_parts(lanes, 1.0, place_of, work, sums);
  numbers found;
  for (const auto& sum : sums) found.push_back(sum[3]);
  return found;
}

/// 40 cases: 30 go to a = u, 10 to a = v, none to a = w. Below u the cut is at n = 20.
TEST(reasons, by_hand) {
  const auto t = make_table("a,string,discrete\nn,integer,continuous\nc,string,class\n",
                            "u,10,p\nv,20,q\nw,30,r\n");
  const auto tree = build_tree(split(
      0, {split(1, 2, {leaf({12, 4, 4}), leaf({0, 5, 5})}), leaf({0, 2, 8}), leaf({0, 0, 0})}));
  const auto near = [](const numbers& wanted) { return Pointwise(DoubleNear(1e-15), wanted); };
  // With nothing, a, n and both known: (12, 11, 17) / 40, (12, 9, 9) / 30, (0.45, 0.2, 0.35) and
  // (12, 4, 4) / 20.
  EXPECT_THAT(parts_of(*t, *tree, {1, 1}),
              near({0, 0.125, 0.0125, -0.1375, 0, 0.175, -0.0875, -0.0875}));
  EXPECT_THAT(parts_of(*t, *tree, {1, 0}), near({0, 0.1, 0.025, -0.125, 0, 0, 0, 0}));
  EXPECT_THAT(parts_of(*t, *tree, {0, 0}), near(numbers(8)));
  // Nobody has w: what is known of the class there is what is known of the whole tree.
  EXPECT_THAT(parts_of(*t, *tree, {3, 0}), near(numbers(8)));
}

/// Attributes 0 to n - 1 in turn; a half of the cases goes on at each. To know one is worth the
/// same as to know any other.
TEST(reasons, of_a_way_with_many_attributes) {
  constexpr unsigned int k_attributes = 300;
  std::string names, rows[2];
  for (unsigned int a = 0; a < k_attributes; ++a) {
    names += "a" + std::to_string(a) + ",integer,continuous\n";
    for (int i = 0; i < 2; ++i) rows[i] += std::to_string(i) + ",";
  }
  const auto t = make_table(names + "c,string,class\n", rows[0] + "p\n" + rows[1] + "q\n");
  tree_plan plan = leaf({0, 1});
  for (unsigned int a = k_attributes; a-- > 0;) {
    plan = split(a, 1, {leaf({plan.weights[0] + plan.weights[1], 0}), plan});
  }
  const auto tree = build_tree(plan);
  const numbers parts = parts_of(*t, *tree, narrow_codes(k_attributes, 2));
  for (unsigned int a = 0; a < k_attributes; ++a) {
    ASSERT_NEAR(parts[a * 3 + 2], 1.0 / k_attributes, 1e-15) << a;
  }
}

// The only attribute there is makes the whole difference.
TEST(reasons, of_a_deep_tree) {
  const auto t = make_table("x,integer,continuous\nc,string,class\n", "0,p\n1,q\n");
  const auto tree = build_path(20000, [](unsigned long level) {
    return level % 3 == 0 ? numbers{1, 1} : numbers{2, 0};
  });
  numbers nothing(3), all(3), difference;
  tree->add_shares({0}, 1.0, nothing);
  tree->add_shares({2}, 1.0, all);
  for (int c = 0; c < 3; ++c) difference.push_back(all[c] - nothing[c]);
  EXPECT_THAT(parts_of(*t, *tree, {2}), Pointwise(DoubleNear(1e-12), difference));
}

TEST(reasons, are_of_codes_that_the_model_knows) {
  dtree model("t");
  EXPECT_THROW(explainer{model}, std::runtime_error);
  const auto t = golf_table();
  const std::unique_ptr<case_list> all(t->get_all());
  model.build(t.get(), all.get());
  const orvik::dtree built(model.clone(/*parameters_only=*/false));
  const orvik::explainer made(built);
  numbers parts;
  made.explain({3, 1000000, 5, 1}, 1, parts);  // as warm as no day was
  EXPECT_EQ(parts.size(), made.base().size() * made.attributes().size());
  for (const std::vector<code_t>& codes : {std::vector<code_t>{4, 1, 1, 1}, {1, 1, 1}, {}}) {
    EXPECT_THROW(made.explain(codes, 1, parts), std::runtime_error) << codes.size();
  }
}

/// n choose k.
double choose(unsigned long n, unsigned long k) {
  double product = 1;
  for (unsigned long i = 1; i <= k; ++i) product *= static_cast<double>(n - k + i) / i;
  return product;
}

/// What the model says with the attributes of each set known, all others not.
std::vector<numbers> shares_by_set(const dtree& model, const std::vector<code_t>& codes) {
  std::vector<numbers> shares(1UL << codes.size());
  for (unsigned long set = 0; set < shares.size(); ++set) {
    std::vector<code_t> known = codes;
    for (unsigned long a = 0; a < codes.size(); ++a) known[a] *= set >> a & 1UL;
    numbers calibrated;
    model.predict_distribution(known, calibrated, &shares[set]);
  }
  return shares;
}

/// The contribution of an attribute to a class, from its definition.
double part_of(const std::vector<numbers>& shares, unsigned long n, unsigned long a, code_t c) {
  double sum = 0;
  for (unsigned long set = 0; set < shares.size(); ++set) {
    if ((set >> a & 1UL) != 0) continue;
    const auto size = static_cast<unsigned long>(std::popcount(set));
    sum += (shares[set | 1UL << a][c] - shares[set][c]) / (choose(n - 1, size) * n);
  }
  return sum;
}

/// Of some cases of the table, a fourth of whose values are forgotten.
void expect_as_defined(const table& t, const dtree& model) {
  constexpr unsigned long k_cases = 11;  // more than are walked at a time
  std::mt19937_64 draw(1);
  const unsigned long n = t.n_attributes(), n_classes = t.n_class_codes();
  std::vector<std::vector<code_t>> cases(k_cases, std::vector<code_t>(n));
  narrow_codes all;
  for (auto& codes : cases) {
    const row_t row = draw() % t.n_rows();
    for (unsigned long a = 0; a < n; ++a) {
      if (t.column_of(a).type() == column::IGNORE) continue;
      codes[a] = draw() % 4 == 0 ? 0 : t.column_of(a).get_row_index(row);
    }
    all.insert(all.end(), codes.begin(), codes.end());
  }
  const explainer made(model);
  numbers parts(k_cases * made.n_parts());
  made.explain({all, n}, parts);
  auto part = parts.begin();
  for (const auto& codes : cases) {
    const std::vector<numbers> shares = shares_by_set(model, codes);
    ASSERT_EQ(made.base(), shares[0]);
    for (code_t c = 0; c < n_classes; ++c) {
      double sum = shares[0][c];
      for (const unsigned long a : made.attributes()) {
        ASSERT_NEAR(*part, part_of(shares, n, a, c), 1e-12) << c << " " << a;
        ASSERT_TRUE(codes[a] != k_unknown || *part == 0);
        sum += *part++;
      }
      ASSERT_NEAR(sum, shares.back()[c], 1e-14);
    }
  }
}

struct explained {
  const char* name;
  bool noisy;  // of 9 attributes, else 5 of all kinds, one of them ignored
  bool weighted;
  void (*set)(dtree&);
};
class reasons_of : public testing::TestWithParam<explained> {};

TEST_P(reasons_of, are_the_sums_over_all_sets) {
  const run_seed seed(5);
  const auto t = GetParam().noisy ? noisy_table(9, 150, 3, GetParam().weighted)
                                  : mixed_table(300, 4, GetParam().weighted);
  dtree model("t");
  GetParam().set(model);
  const std::unique_ptr<case_list> all(t->get_all());
  model.build(t.get(), all.get());
  expect_as_defined(*t, model);
}

void unpruned(dtree& m) { m.set_pruning_strategy(orvik::model::NO_PRUNING); }

INSTANTIATE_TEST_SUITE_P(
    models, reasons_of,
    testing::Values(explained{"tree", false, false, unpruned},
                    explained{"raised_tree", false, true,
                              [](dtree& m) { m.set_pruning_strategy(orvik::model::EBPA); }},
                    explained{"values_by_themselves", true, true,
                              [](dtree& m) {
                                unpruned(m);
                                orvik::growth how;
                                how.one_value = true;
                                m.set_growth(how);
                              }},
                    explained{"bagged_votes", true, false,
                              [](dtree& m) {
                                unpruned(m);
                                m.set_forest(false, true, 4);
                              }},
                    explained{"mean_shares", false, true,
                              [](dtree& m) {
                                unpruned(m);
                                m.set_forest(true, false, 6);
                                m.set_combination(orvik::combination::shares);
                              }},
                    explained{"boosted", true, true, [](dtree& m) { m.set_boosting(5); }},
                    explained{"calibrated_votes", false, true,
                              [](dtree& m) {
                                unpruned(m);
                                m.set_forest(false, true, 4);
                                m.set_calibration(orvik::calibration::platt);
                              }},
                    explained{"a_calibrated_tree", true, false,
                              [](dtree& m) {
                                unpruned(m);
                                m.set_calibration(orvik::calibration::isotonic);
                              }}),
    [](const auto& each) { return std::string(each.param.name); });

}  // namespace
