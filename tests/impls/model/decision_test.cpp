// How models decide: by costs, on shares that lean on prior ones, and on weighed classes.
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <cmath>
#include <functional>

#include "impls/model/cell_predictor.h"
#include "impls/support/binary_text.h"
#include "impls/support/ensembles.h"
#include "impls/support/stock_tables.h"
#include "orvik/orvik.h"
#include "support/error_of.h"

namespace orvik::impls {
namespace {

using testing::DoubleEq;
using testing::DoubleNear;
using testing::ElementsAre;
using testing::Pointwise;

std::shared_ptr<const cost_matrix> costs_of(unsigned long n, std::vector<class_cost> given) {
  return std::make_shared<const cost_matrix>(n, given);
}

/// Of three classes.
std::shared_ptr<const cost_matrix> all_cost(double cost) {
  std::vector<class_cost> all;
  for (code_t p = 1; p < 4; ++p) {
    for (code_t a = 1; a < 4; ++a) all.push_back({p, a, p == a ? 0 : cost});
  }
  return costs_of(4, all);
}

struct way {
  const char* name;
  unsigned long trees;  // 0: a single one
  combination answer;
  bool costs, smooths;
  calibration maps = calibration::none;

  bool counts_votes() const {
    return trees > 0 && answer == combination::votes && maps == calibration::none;
  }
};

std::string written(const dtree& model) {
  return binary_of([&model](auto& out) { out << model; });
}

/// Calling the second class the first is dear, and the third the second.
const std::vector<class_cost> k_dear = {{1, 2, 9}, {2, 3, 4}};

std::unique_ptr<dtree> grown(
    const table& t, const way& how, const std::function<void(dtree&)>& set = [](dtree&) {}) {
  const run_seed seed(5);
  auto model = std::make_unique<dtree>("m");
  if (how.trees > 0) model->set_forest(false, true, how.trees);
  model->set_combination(how.answer);
  if (how.costs) model->set_costs(costs_of(t.n_class_codes(), k_dear), cost_use::decides);
  model->set_smoothing(how.smooths);
  model->set_calibration(how.maps);
  set(*model);
  const std::unique_ptr<case_list> all(t.get_all());
  model->build(&t, all.get());
  return model;
}

TEST(costs, decide_for_the_first_class_of_the_least_sum) {
  const cost_matrix costs(4, k_dear);
  const struct {
    std::vector<double> by_code;  // the unknown class first
    code_t predicted;
  } rows[] = {{{0, 9, 1, 0}, 1},                       // 9, 9 and 10
              {{0, 8, 1, 0}, 2},                       // 9, 8 and 9
              {{0, 0, 0, 1}, 3}, {{0, 0, 3, 1}, 3},    // 28, 4 and 3
              {{0, 0, 5, 1}, 2},                       // 46, 4 and 5
              {{5, 0, 0, 0}, 0}, {{50, 1, 0, 0}, 1}};  // of the unknown class nothing is known
  for (const auto& [by_code, predicted] : rows) EXPECT_EQ(costs.cheapest(by_code), predicted);
  // Equal sums stay equal when the weights become shares, which are rounded.
  const cost_matrix german(3, std::vector<class_cost>{{1, 2, 5}});
  for (double n = 1; n < 200; ++n) {
    const std::vector<double> weights{0, 5 * n, n}, shares{0, 5 * n / (6 * n), n / (6 * n)};
    EXPECT_EQ(german.cheapest(weights), 1u);
    EXPECT_EQ(german.cheapest(shares), 1u);
  }
}

TEST(costs, refuse_what_is_none) {
  const std::vector<class_cost> bad[] = {{{1, 2, -1}}, {{1, 2, std::nan("")}},
                                         {{0, 1, 1}},  {{1, 3, 1}},
                                         {{1, 1, 2}},  {{1, 2, 1}, {1, 2, 2}}};
  for (const auto& given : bad) {
    EXPECT_EQ(error_of([&] { cost_matrix(3, given); }), "costs that are none");
  }
  EXPECT_EQ(error_of([] { cost_matrix many(1002); }), "costs are for at most 1000 classes");
}

class decisions : public testing::TestWithParam<way> {};

/// All ways to a class and to shares are one, to the last bit, and agree with the definition. Some
/// cells are unknown.
TEST_P(decisions, are_the_same_for_batches_rows_texts_and_saved_models) {
  const way how = GetParam();
  const auto t = mixed_table(700, 11, /*weighted=*/true);
  const auto model = grown(*t, how);
  const cost_matrix costs(t->n_class_codes(), k_dear);
  const std::string bytes = written(*model);
  dtree back("?");
  read_all(bytes, [&](auto& in) { in >> back; });
  EXPECT_EQ(written(back), bytes);
  EXPECT_EQ(bytes[8], '\3');  // the third layout

  const std::unique_ptr<case_list> all(t->get_all());
  const judged_rows judged = model->judge(*t, *all);
  const std::unique_ptr<conf_matrix> matrix = back.test(*t, *all, nullptr);
  conf_matrix by_hand(t.get());
  unsigned long changed = 0;
  const cell_predictor blocks(*model);
  const std::size_t n_codes = t->n_class_codes();
  std::vector<code_t> cells;
  for (const auto& [row, weight] : *all) {
    for (const code_t code : codes_of(*t, row)) cells.push_back(code);
  }
  std::vector<outcome> outcomes(all->size());
  std::vector<double> block_shares(all->size() * n_codes), block_plain(block_shares.size());
  blocks.predict_codes(cells, outcomes, block_shares,
                       std::span(block_plain).first(blocks.calibrates() ? block_plain.size() : 0));
  for (unsigned long i = 0; i < all->size(); ++i) {
    const row_t row = (*all)[i].first;
    decision_tree::prediction found, same;
    std::vector<double> shares, plain;
    model->predict(*t, codes_of(*t, row), found, 1);
    back.predict(*t, codes_of(*t, row), same, 1);
    EXPECT_EQ(found, same);
    EXPECT_EQ(judged.predicted[i], found.first);
    by_hand.add(t->class_column().get_row_index(row), found.first, (*all)[i].second);
    EXPECT_EQ(std::pair(outcomes[i].predicted, outcomes[i].confidence), found);
    model->predict_distribution(codes_of(*t, row), shares, &plain);
    const auto of_row = [&](const std::vector<double>& all_shares) {
      const auto first = all_shares.begin() + static_cast<long>(i * n_codes);
      return std::vector<double>(first, first + static_cast<long>(n_codes));
    };
    EXPECT_EQ(of_row(block_shares), shares);
    EXPECT_EQ(of_row(blocks.calibrates() ? block_plain : block_shares), plain);
    EXPECT_THAT(std::span(judged.shares).subspan(i * shares.size(), shares.size()),
                Pointwise(DoubleEq(), shares));
    if (how.counts_votes()) continue;
    EXPECT_EQ(found.second, shares[found.first]);
    EXPECT_EQ(found.first, how.costs ? costs.cheapest(shares) : distribution(shares).decide());
    changed += found.first != distribution(shares).decide();
  }
  for (code_t a = 0; a < by_hand.size(); ++a) {
    for (code_t p = 0; p < by_hand.size(); ++p) {
      EXPECT_NEAR(matrix->get_element(a, p), by_hand.get_element(a, p), 1e-9);
    }
  }
  EXPECT_TRUE(changed > 0 || how.counts_votes() || !how.costs);
  if (how.trees < 2) return;
  const judged_rows out_of_bag = model->oob_rows(*t);
  double wrong = 0, weight = 0;
  for (unsigned long i = 0; i < out_of_bag.size(); ++i) {
    weight += out_of_bag.weights[i];
    if (out_of_bag.predicted[i] != out_of_bag.actual[i]) wrong += out_of_bag.weights[i];
    if (how.answer != combination::shares || !how.costs) continue;
    const std::span shares(&out_of_bag.shares[i * t->n_class_codes()], t->n_class_codes());
    EXPECT_EQ(out_of_bag.predicted[i], costs.cheapest(shares));
  }
  EXPECT_NEAR(model->oob_error(*t), wrong / weight, 1e-12);
  EXPECT_NEAR(model->oob_errors(*t).back(), wrong / weight, 1e-12);
}

INSTANTIATE_TEST_SUITE_P(
    of, decisions,
    testing::Values(
        way{"one_tree", 0, combination::votes, true, false},
        way{"one_tree_leaning", 0, combination::votes, false, true},
        way{"one_tree_of_both", 0, combination::votes, true, true},
        way{"an_ensemble_of_one", 1, combination::votes, true, false},
        way{"votes", 9, combination::votes, true, false},
        way{"votes_leaning", 9, combination::votes, false, true},
        way{"shares", 9, combination::shares, true, false},
        way{"shares_of_both", 9, combination::shares, true, true},
        way{"a_calibrated_tree", 0, combination::votes, true, true, calibration::isotonic},
        way{"calibrated_votes", 9, combination::votes, false, true, calibration::platt},
        way{"calibrated_shares", 9, combination::shares, true, false, calibration::isotonic}),
    [](const auto& row) { return row.param.name; });

TEST(decisions, show_in_the_leaves_of_a_tree) {
  const auto t = golf_table();  // 5 no, 9 yes
  const auto plain = grown(*t, {"", 0, combination::votes, false, false});
  const auto one_leaf = [](dtree& m) {
    m.set_max_depth(0);
    m.set_pruning_strategy(model::NO_PRUNING);
    m.set_costs(costs_of(3, {{2, 1, 9}}), cost_use::decides);
  };
  const auto dear = grown(*t, {"", 0, combination::votes, false, false}, one_leaf);
  EXPECT_NE(text_of(*dear).find(" no (14.0/9.0)"), std::string::npos);  // 9 x 1 against 5 x 9
  const auto leaning = grown(*t, {"", 0, combination::votes, false, true});
  std::vector<double> shares;
  leaning->predict_distribution(codes_of(*t, 2), shares);  // overcast: 4 of 4 play
  EXPECT_THAT(shares, ElementsAre(DoubleEq(0), DoubleNear((5. / 14) / 5, 1e-15),
                                  DoubleNear((4 + 9. / 14) / 5, 1e-15)));
  EXPECT_EQ(text_of(*leaning), text_of(*plain));
}

/// Two classes weighed by costs are two classes with weights, by hand: C(2|1) / S and C(1|2) / S.
TEST(weights_of_classes, are_those_of_cases) {
  const table_texts texts = mixed_texts(400, 3, /*weighted=*/false);
  std::string data;
  std::vector<double> n(2);
  for (std::size_t at = 0; at < texts.data.size();) {  // c2 becomes c1
    const std::size_t end = texts.data.find('\n', at);
    std::string line = texts.data.substr(at, end - at);
    if (const std::size_t c = line.find(",c2,"); c != line.npos) line[c + 2] = '1';
    n[line.find(",c1,") != line.npos ? 1 : 0] += 1;
    data += line + '\n';
    at = end + 1;
  }
  const double a = 1, b = 5, sum = (a * n[0] + b * n[1]) / (n[0] + n[1]);
  const auto weighed_text = [&](double first, double second) {
    std::string weighed;
    for (std::size_t at = 0; at < data.size();) {
      const std::size_t end = data.find('\n', at);
      const std::string line = data.substr(at, end - at);
      char number[32];
      std::snprintf(number, sizeof number, ",%.17g\n",
                    line.find(",c1,") != line.npos ? second : first);
      weighed += line + number;
      at = end + 1;
    }
    return make_table(texts.names + "w,double,weights\n", weighed);
  };
  const auto t = make_table(texts.names, data);
  const auto by_costs = [&](dtree& m) {
    m.set_costs(costs_of(3, {{1, 2, b}, {2, 1, a}}), cost_use::weighs);
  };
  const way one{"", 0, combination::votes, false, false};
  const auto same = [&](const std::function<void(dtree&)>& set, double first, double second) {
    const auto by_hand = weighed_text(first, second);
    EXPECT_EQ(text_of(*grown(*t, one, set)), text_of(*grown(*by_hand, one)));
  };
  same(by_costs, a / sum, b / sum);
  same([](dtree& m) { m.set_class_weights({1, 0.25, 3}); }, 0.25, 3);
  same([](dtree& m) { m.set_balanced_classes(true); }, (n[0] + n[1]) / 2 / n[0],
       (n[0] + n[1]) / 2 / n[1]);
}

TEST(pruning_by_costs, is_pruning_by_errors_where_all_cost_the_same) {
  const auto t = mixed_table(600, 4, /*weighted=*/false, /*unknown=*/false);
  for (unsigned strategy = 0; strategy < model::N_PRUNING_STRATEGIES; ++strategy) {
    const auto set = [&](double cost) {
      return [=](dtree& m) {
        m.set_pruning_strategy(static_cast<model::pruning_strategy>(strategy));
        if (cost == 0) return;
        m.set_costs(all_cost(cost), cost_use::decides);
      };
    };
    const way one{"", 0, combination::votes, false, false};
    const auto shape = [](const dtree& m) { return m.get_tree(0)->size(); };
    const auto plain = grown(*t, one, set(0));
    if (model::row_of(strategy).family == model::PEP) {
      EXPECT_NE(error_of([&] { grown(*t, one, set(1)); }).find("pessimistic"), std::string::npos);
      continue;
    }
    const auto ones = grown(*t, one, set(1)), tens = grown(*t, one, set(1024));
    EXPECT_EQ(text_of(*ones), text_of(*plain)) << strategy;
    EXPECT_EQ(shape(*tens), shape(*plain)) << strategy;
    EXPECT_NEAR(tens->get_tree(0)->get_node()->estimated_error(),
                1024 * plain->get_tree(0)->get_node()->estimated_error(), 1e-6)
        << strategy;
  }
}

/// To call a q a p costs as much as is said.
std::unique_ptr<dtree> pruned_by_cost(const table& t, model::pruning_strategy strategy,
                                      double cost) {
  return grown(t, {"", 0, combination::votes, false, false}, [&](dtree& m) {
    m.set_pruning_strategy(strategy);
    m.set_costs(costs_of(3, {{1, 2, cost}}), cost_use::decides);
  });
}

/// Both branches are q where it is 5: 4 x 1 < 1 x 5. Where it is 3, u is p; of ten times the cases
/// that is worth it, though more errors are expected, at the same price each.
TEST(pruning_by_costs, cuts_what_does_not_save_any) {
  const std::string names = "a,string,discrete\nc,string,class\n";
  const std::string rows = "u,p\nu,p\nu,p\nu,p\nu,q\nv,q\nv,q\nv,q\nv,q\nv,q\n";
  std::string all_rows;
  for (int i = 0; i < 10; ++i) all_rows += rows;
  const auto few = make_table(names, rows), many = make_table(names, all_rows);
  const auto added = [](double n, double e) {
    return decision_tree::add_errs(0.25, decision_tree::CFCoefficient(0.25), n, e);
  };
  const auto root_of = [](const dtree& m) { return m.get_tree(0)->get_node(); };
  EXPECT_EQ(pruned_by_cost(*few, model::PRE_PRUNING_ONLY, 3)->get_tree(0)->size(), 3u);
  for (const model::pruning_strategy strategy :
       {model::PRE_PRUNING_ONLY, model::EBP, model::EBPA}) {
    const bool expects = strategy != model::PRE_PRUNING_ONLY;
    const auto cut = pruned_by_cost(*few, strategy, 5), kept = pruned_by_cost(*many, strategy, 3);
    EXPECT_EQ(cut->get_tree(0)->size(), 1u);
    EXPECT_DOUBLE_EQ(root_of(*cut)->estimated_error(), 4 + (expects ? added(10, 4) : 0));
    EXPECT_EQ(kept->get_tree(0)->size(), 3u);
    EXPECT_DOUBLE_EQ(root_of(*kept)->estimated_error(),
                     30 + (expects ? 3 * added(50, 10) + added(50, 0) : 0));
  }
}

/// All of u is q, by either value of b or by none: 5 x 1. So is the whole, where v adds nothing; as
/// errors, of which there would be 2 in u, all cost the same, v is worth a branch.
TEST(pruning_by_costs, adds_up_what_cut_subtrees_cost) {
  const auto t = make_table("a,string,discrete\nb,string,discrete\nc,string,class\n",
                            "u,x,p\nu,x,p\nu,x,q\nu,y,p\nu,y,p\nu,y,p\nu,y,q\n"
                            "v,x,q\nv,x,q\nv,y,q\nv,y,q\nv,y,q\n");
  EXPECT_EQ(pruned_by_cost(*t, model::NO_PRUNING, 1)->get_tree(0)->size(), 5u);
  EXPECT_EQ(pruned_by_cost(*t, model::PRE_PRUNING_ONLY, 1)->get_tree(0)->size(), 3u);
  const auto dear = pruned_by_cost(*t, model::PRE_PRUNING_ONLY, 5);
  EXPECT_EQ(dear->get_tree(0)->size(), 1u);
  EXPECT_DOUBLE_EQ(dear->get_tree(0)->get_node()->estimated_error(), 5);
}

TEST(searches_by_costs, are_those_by_errors_where_all_cost_the_same) {
  const auto t = mixed_table(500, 9, /*weighted=*/true);
  for (const auto method : {model::FORWARD, model::OPTIMISED_BACKWARD, model::ACCEPTABLE_SUBSET}) {
    const auto found = [&](double cost) {
      return grown(*t, {"", 0, combination::votes, false, false}, [&](dtree& m) {
        m.set_fs(method, 1);
        if (cost > 0) m.set_costs(all_cost(cost), cost_use::decides);
      });
    };
    const auto plain = found(0), ones = found(1), twos = found(2);
    EXPECT_EQ(ones->get_attributes(*t), plain->get_attributes(*t));
    EXPECT_NEAR(ones->get_search().error, plain->get_search().error, 1e-12);
    if (method == model::ACCEPTABLE_SUBSET) continue;  // a point is less of two
    EXPECT_EQ(twos->get_attributes(*t), plain->get_attributes(*t));
    EXPECT_NEAR(twos->get_search().error, 2 * plain->get_search().error, 1e-12);
  }
}

}  // namespace
}  // namespace orvik::impls
