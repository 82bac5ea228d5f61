// What ensembles of free trees are made of: draws, tests of one value, random cuts, mean shares,
// boosting.
#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <map>
#include <set>

#include "impls/growing/growing_plan.h"
#include "impls/model/bootstrap.h"
#include "impls/splitting/column_measure.h"
#include "impls/support/binary_text.h"
#include "impls/support/ensembles.h"
#include "impls/support/stock_tables.h"
#include "impls/support/tree_builder.h"
#include "zel/text/decimal.h"
#include "zel/util/default_context.h"

namespace orvik::impls {
namespace {

using desc_t = column::splitting_desc;

/// A model of `setting` on all rows.
std::unique_ptr<dtree> grow(const table& t, const std::function<void(dtree&)>& setting) {
  const run_seed seed(5);
  auto model = std::make_unique<dtree>("t");
  setting(*model);
  const std::unique_ptr<case_list> all(t.get_all());
  model->build(&t, all.get());
  return model;
}

/// Several kinds of everything at once.
std::unique_ptr<dtree> grow_kind(const table& t, int kind) {
  return grow(t, [kind](dtree& m) {
    growth how{{attribute_draw::COUNT, 2}, true, kind % 2 == 1, kind != 2};
    if (kind == 3) how.attributes = {attribute_draw::ALL, 0};
    m.set_growth(how);
    m.set_pruning_strategy(kind == 2 ? model::EBP : model::NO_PRUNING);
    kind < 2 ? m.set_forest(false, true, 5) : m.set_boosting(6);
    m.set_resampling({kind == 0 ? 0.7 : 1, kind == 1, kind == 0});
    if (kind != 2) m.set_combination(combination::shares);
  });
}

// A leaf is wrong about 5 of 14: log(9/5) votes; no weighs 7/5 then, yes 7/9. Of what outlook then
// leaves wrong, 3 + 2 yes in the rain and the sun, e = 35/9 / 14 = 5/18: log(13/5) votes.
TEST(boosting, of_two_trees_on_golf_is_as_by_hand) {
  const auto t = golf_table();
  const auto m = grow(*t, [](dtree& plain) {
    plain.set_boosting(2);
    plain.set_max_depth(1);
  });
  ASSERT_EQ(m->n_trees(), 2);
  EXPECT_NEAR(m->trees().votes(0), std::log(9.0 / 5), 1e-12);
  EXPECT_NEAR(m->trees().votes(1), std::log(13.0 / 5), 1e-12);
  const auto unpacked = m->get_tree(1);
  const decision_tree& second = *unpacked;
  ASSERT_EQ(second.get_no_childs(), 3);
  EXPECT_NEAR(second.get_node()->weight(), 14, 1e-12);
  EXPECT_NEAR(second.get_node()->class_weight(1), 7, 1e-12);
  EXPECT_NEAR(second.get_node()->class_weight(2), 7, 1e-12);
  decision_tree::prediction found;
  m->predict(*t, codes_of(*t, 0), found, 1);  // sunny: yes, then no
  EXPECT_EQ(found.first, 1);
  EXPECT_NEAR(found.second, std::log(13.0 / 5) / (std::log(13.0 / 5) + std::log(9.0 / 5)), 1e-12);
}

// A tree without errors is the last where the next would be the same; where nodes draw all are
// grown.
TEST(boosting, ends_where_nothing_is_left_to_learn) {
  const auto t = golf_table();
  const auto boost = [](bool draws) {
    return [draws](dtree& m) {
      m.set_boosting(9);
      m.set_pruning_strategy(model::NO_PRUNING);
      if (draws) m.set_growth({{attribute_draw::COUNT, 1}, true, false, false});
    };
  };
  EXPECT_EQ(grow(*t, boost(false))->n_trees(), 1);
  EXPECT_EQ(grow(*t, boost(true))->n_trees(), 9);
  const auto noise = make_table("a,string,discrete\nc,string,class\n", "p,k\np,l\n");
  EXPECT_EQ(grow(*noise, boost(false))->n_trees(), 1);  // no better than chance, but all there is
}

TEST(free_growing, gives_the_same_bytes_for_any_workers_and_read_again) {
  const auto t = mixed_table(400, 8, /*weighted=*/true);
  for (int kind = 0; kind < 4; ++kind) {
    SCOPED_TRACE(kind);
    std::set<std::string> texts;
    const unsigned long n_workers = zel::util::default_context().n_workers;
    for (const unsigned long workers : {1UL, 3UL}) {
      zel::util::default_context().n_workers = workers;
      texts.insert(text_of(*grow_kind(*t, kind)));
    }
    zel::util::default_context().n_workers = n_workers;
    EXPECT_EQ(texts.size(), 1);
    const auto model = grow_kind(*t, kind);
    const std::string bytes = binary_of([&](auto& out) { out << *model; });
    dtree back("");
    read_all(bytes, [&](auto& in) { in >> back; });
    EXPECT_EQ(text_of(back), *texts.begin());
    for (row_t row = 0; row < 50; ++row) {
      decision_tree::prediction a, b;
      model->predict(*t, codes_of(*t, row), a, 1);
      back.predict(*t, codes_of(*t, row), b, 1);
      EXPECT_EQ(a, b);
    }
    EXPECT_GT(model->trees().size(), 2 * model->n_trees());
  }
}

// What a row is told by itself is what a block of rows is told, and the mean of the trees' shares.
TEST(mean_shares, are_those_of_the_trees_whoever_asks) {
  const auto t = mixed_table(300, 3, /*weighted=*/false);
  for (const int kind : {1, 3}) {
    const auto model = grow_kind(*t, kind);
    const std::unique_ptr<case_list> all(t->get_all());
    const auto matrix = model->test(*t, *all, nullptr);
    double right = 0;
    for (row_t row = 0; row < t->n_rows(); ++row) {
      std::vector<double> sums(t->n_class_codes());
      double votes = 0;
      for (unsigned long i = 0; i < model->n_trees(); ++i) {
        model->get_tree(i)->add_shares(codes_of(*t, row), model->trees().votes(i), sums);
        votes += model->trees().votes(i);
      }
      decision_tree::prediction found;
      model->predict(*t, codes_of(*t, row), found, 1);
      EXPECT_EQ(found.first, static_cast<code_t>(std::ranges::max_element(sums) - sums.begin()));
      EXPECT_EQ(found.second, sums[found.first] / votes);
      right += found.first == t->class_column().get_row_index(row);
    }
    EXPECT_NEAR(matrix->err_misc(), 1 - right / static_cast<double>(t->n_rows()), 1e-12);
  }
}

TEST(draws, are_as_many_as_asked_for) {
  const auto t = mixed_table(1000, 6, /*weighted=*/false);
  const std::unique_ptr<case_list> all(t->get_all());
  const training_cases given(*all);
  const auto drawn = [&](const resampling& how) {
    std::vector<row_t> rows;
    case_draws(how, *t, given).for_each(17, [&](unsigned long i) { rows.push_back(i); });
    return rows;
  };
  EXPECT_EQ(drawn({1.5, true, false}).size(), 1500);
  const std::vector<row_t> once = drawn({0.6, false, false});
  EXPECT_EQ(once.size(), 600);
  EXPECT_EQ(std::set(once.begin(), once.end()).size(), 600);
  std::map<code_t, int> by_class;
  for (const row_t row : drawn({1, true, true})) ++by_class[t->class_column().get_row_index(row)];
  for (const auto& [code, n] : by_class) {
    EXPECT_EQ(n, std::lround(1000.0 / static_cast<double>(by_class.size()))) << code;
  }
}

/// The measure of attribute `a` at the root under `how`.
desc_t measure(const table& t, unsigned long a, const growth& how, unsigned long seed) {
  const std::unique_ptr<case_list> all(t.get_all());
  decision_node root(all.get());
  root.activate(&t, false);
  candidate c{static_cast<unsigned int>(a), {}};
  zel::util::quick_gen draw(seed);
  root.measure_candidate(t, {model::GAIN_RATIO, 1, nullptr, t.n_attributes(), how}, c, true, &draw);
  return c.desc;
}

// In bits, of 0.940286: what temperature and humidity gain before the choice among cuts is paid
// for.
TEST(free_growing, pays_nothing_for_the_choice_of_a_cut) {
  const auto t = golf_table();
  const growth free{{}, true, false, false};
  EXPECT_NEAR(measure(*t, 1, free, 0).gain, 0.113401, 1e-6);
  EXPECT_NEAR(measure(*t, 2, free, 0).gain, 0.151836, 1e-6);
}

// Against a column that says of every case whether it has the value, which gains the same; and of a
// random cut against one of two values, below and above.
TEST(tests_in_two, gain_what_a_column_of_two_values_does) {
  for (const bool weighted : {false, true}) {
    const auto t = mixed_table(250, 21, weighted);
    int n_values = 0, n_cuts = 0;
    for (unsigned long a = 0; a < t->n_attributes(); ++a) {
      const column& c = t->column_of(a);
      const bool discrete = c.type() == column::DISCRETE;
      if (!discrete && c.type() != column::CONTINUOUS) continue;
      if (discrete && c.values()->size_of_known() < 3) continue;
      const auto as_two = [&](auto side) {
        std::string rows;
        for (row_t row = 0; row < t->n_rows(); ++row) {
          const code_t code = c.get_row_index(row);
          rows += code == k_unknown ? "?" : side(code) ? "x" : "y";
          rows += ",k" + std::to_string(t->class_column().get_row_index(row));
          if (weighted) rows += "," + zel::text::shortest_decimal(t->get_weight(row));
          rows += '\n';
        }
        const auto two =
            make_table(weighted ? "a,string,discrete\nk,string,class\nw,double,weights\n"
                                : "a,string,discrete\nk,string,class\n",
                       rows.c_str());
        return measure(*two, 0, {}, 0);
      };
      const growth how{{}, true, !discrete, discrete};
      const desc_t got = measure(*t, a, how, 3);
      if (discrete) {
        double best = -1;
        for (code_t value = 1; value <= c.values()->size_of_known(); ++value) {
          best = std::max(best, as_two([&](code_t code) { return code == value; }).gain);
        }
        EXPECT_NEAR(got.gain, best, 1e-9);
        ++n_values;
      }
      if (got.gain <= column::k_no_gain) continue;
      const desc_t twin = as_two(
          [&](code_t code) { return discrete ? code == got.left_code : code <= got.left_code; });
      EXPECT_NEAR(got.gain, twin.gain, 1e-9);
      EXPECT_NEAR(got.split_info, twin.split_info, 1e-9);
      n_cuts += !discrete;
    }
    EXPECT_GT(n_values, 0);
    EXPECT_GT(n_cuts, 0);
  }
}

}  // namespace
}  // namespace orvik::impls
