// What holds for every strategy, on trees grown on tables of all kinds of columns.
#include "impls/pruning/strategies.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <limits>

#include "impls/model/dtree.h"
#include "impls/pruning/raising.h"
#include "impls/support/stock_tables.h"
#include "impls/support/tree_builder.h"

using namespace orvik::impls;
namespace model = orvik::model;
namespace pruning = orvik::impls::pruning;

namespace {

constexpr double k_inf = std::numeric_limits<double>::infinity();
constexpr double k_cf = 0.25;

/// A tree on the first 400 of 600 rows; the others are for pruning.
struct grown {
  std::unique_ptr<table> t;
  case_list training, held;
  std::unique_ptr<decision_tree> tree = std::make_unique<decision_tree>();

  explicit grown(unsigned long seed, bool weighted) : t(mixed_table(600, seed, weighted)) {
    const std::unique_ptr<case_list> all(t->get_all());
    training.assign(all->begin(), all->begin() + 400);
    held.assign(all->begin() + 400, all->end());
    case_list own(training);
    tree->build(*t, &own, model::GAIN_RATIO, 1, k_no_depth_limit, nullptr, nullptr);
  }
  void prune(model::pruning_strategy strategy) {
    tree->get_node()->set_cases(&training);
    pruning::prune(*tree, strategy, {*t, k_cf, &held});
    tree->get_node()->disactivate();
  }
};

template <class Visit>
void each_node(const decision_tree& tree, const Visit& visit) {
  zel::adt::walk(
      tree,
      [&visit](const decision_tree& at, unsigned long) {
        visit(at);
        return true;
      },
      [](const decision_tree&, unsigned long) {});
}

/// Recomputes all statistics from the cases.
void activate_all(decision_tree& tree, const table& t) {
  pruning::walk_active(tree, t, pruning::visitor(), zel::util::default_context());
}

class every_strategy : public testing::TestWithParam<unsigned int> {
 protected:
  model::pruning_strategy strategy() const {
    return static_cast<model::pruning_strategy>(GetParam());
  }
  bool is_ebp() const { return strategy() >= model::EBP && strategy() <= model::EBPA; }
};
INSTANTIATE_TEST_SUITE_P(strategies, every_strategy, testing::Range(0U, 15U));

TEST_P(every_strategy, leaves_the_errors_that_belong_to_it) {
  for (const bool weighted : {false, true}) {
    grown g(GetParam() + 1, weighted);
    g.prune(strategy());
    const double coeff = decision_tree::CFCoefficient(k_cf);
    each_node(*g.tree, [&](const decision_tree& at) {
      const decision_node& node = *at.get_node();
      const double e = node.get_estimated_error_if_leaf();
      const double leaf = is_ebp() ? e + decision_tree::add_errs(k_cf, coeff, node.weight(), e) : e;
      const bool inner = at.get_no_childs() > 0;
      EXPECT_EQ(node.estimated_error(), inner ? pruning::sum_of_children(at) : leaf);
      EXPECT_EQ(node.is_split(), inner);
    });
  }
}

TEST_P(every_strategy, leaves_the_statistics_of_the_cases_and_no_cases) {
  for (const bool weighted : {false, true}) {
    grown g(GetParam() + 20, weighted);
    g.prune(strategy());
    each_node(*g.tree, [](const decision_tree& at) {
      EXPECT_FALSE(at.get_node()->is_active());
      EXPECT_EQ(at.get_node()->cases(), nullptr);
    });
    const std::unique_ptr<decision_tree> again(g.tree->clone(*g.t, nullptr));
    again->get_node()->set_cases(&g.training);
    activate_all(*again, *g.t);
    std::vector<const decision_node*> found, expected;
    each_node(*g.tree, [&](const decision_tree& at) { found.push_back(at.get_node()); });
    each_node(*again, [&](const decision_tree& at) { expected.push_back(at.get_node()); });
    for (std::size_t i = 0; i < found.size(); ++i) {
      EXPECT_EQ(found[i]->n_cases(), expected[i]->n_cases());
      EXPECT_NEAR(found[i]->weight(), expected[i]->weight(), 1e-9);
      EXPECT_NEAR(found[i]->fraction(), expected[i]->fraction(), 1e-9);
      for (code_t c = 0; c < g.t->n_class_codes(); ++c) {
        EXPECT_NEAR(found[i]->class_weight(c), expected[i]->class_weight(c), 1e-9);
      }
    }
  }
}

TEST_P(every_strategy, makes_the_same_tree_on_any_number_of_workers) {
  const auto t = mixed_table(3000, 7, true);
  const std::unique_ptr<case_list> all(t->get_all());
  case_list held;
  held.assign(all->begin() + 2000, all->end());
  all->resize(2000);
  std::vector<std::string> texts;
  for (const unsigned long workers : {1, 4}) {
    const loop_threads threads(workers);
    dtree m("t");
    m.set_forest(false, true, 3);
    zel::util::set_seed(11);
    m.set_pruning_strategy(model::NO_PRUNING);
    m.build(t.get(), all.get());
    m.set_pruning_strategy(strategy());
    m.prune(t.get(), &held);
    std::string text;
    for (unsigned long i = 0; i < m.n_trees(); ++i) text += exact_text_of(m.get_tree(i), *t);
    texts.push_back(text);
  }
  EXPECT_EQ(texts[0], texts[1]);
}

TEST_P(every_strategy, prunes_deep_trees) {
  constexpr unsigned long k_levels = 100000;
  const auto t = make_table("n,integer,continuous\nc,string,class\n", "1,p\n2,q\n?,q\n2,p\n2,q\n");
  const auto tree = build_path(k_levels, [](unsigned long level) {
    return level % 2 == 0 ? std::vector<double>{1, 0} : std::vector<double>{0, 1};
  });
  const std::unique_ptr<case_list> cases(t->get_all());
  case_list few(*cases);
  tree->get_node()->set_cases(&few);
  pruning::prune(*tree, strategy(), {*t, k_cf, cases.get()});
  EXPECT_LE(tree->depth(), k_levels + 1);
}

// The twin raises a child of a copy and counts there.
class estimates : public testing::TestWithParam<unsigned long> {};
INSTANTIATE_TEST_SUITE_P(tables, estimates, testing::Range(1UL, 6UL));

TEST_P(estimates, are_what_the_raised_child_has) {
  grown g(GetParam(), GetParam() % 2 == 0);
  g.tree->preprune(std::numeric_limits<double>::max());
  const decision_node& prior = *g.tree->get_node();
  const double coeff = decision_tree::CFCoefficient(k_cf);
  for (unsigned int i = 0; i < g.tree->get_no_childs(); ++i) {
    const std::unique_ptr<decision_tree> twin(g.tree->clone(*g.t, nullptr));
    twin->get_node()->set_cases(&g.training);
    twin->get_node()->activate(g.t.get(), false);
    pruning::raise(*twin, i, *g.t);
    activate_all(*twin, *g.t);
    double mep = 0;
    each_node(*twin, [&](const decision_tree& at) {
      const decision_node& n = *at.get_node();
      if (at.get_no_childs() == 0) mep += n.weight() * n.EER(g.t->n_class_codes(), prior, 3);
    });
    const double pep = twin->set_estimated_error_from_leaf_error();
    const double ebp = twin->set_estimated_error_ebp(k_cf, coeff);

    g.tree->get_node()->set_cases(&g.training);
    g.tree->get_node()->activate(g.t.get(), false);
    const std::string before = exact_text_of(*g.tree, *g.t);
    const decision_tree& child = *g.tree->get_child(i);
    EXPECT_NEAR(child.prune_pep_est(*g.t, k_inf), pep, 1e-9);
    EXPECT_NEAR(child.prune_ebp_est(*g.t, k_cf, coeff, k_inf), ebp, 1e-9);
    EXPECT_NEAR(child.prune_mep_est(*g.t, prior, 3, k_inf), mep, 1e-9);
    EXPECT_NEAR(child.prune_mep_est(*g.t, prior, 3, mep + 0.001), mep, 1e-9);
    EXPECT_EQ(child.prune_ebp_est(*g.t, k_cf, coeff, ebp - 0.001), k_inf);
    EXPECT_EQ(exact_text_of(*g.tree, *g.t), before);
    g.tree->get_node()->disactivate();
  }
}

TEST(estimates, of_pruning_cases_are_the_errors_of_the_raised_child) {
  for (unsigned long seed = 1; seed < 6; ++seed) {
    grown g(seed, true);
    for (unsigned int i = 0; i < g.tree->get_no_childs(); ++i) {
      const std::unique_ptr<decision_tree> twin(g.tree->clone(*g.t, nullptr));
      twin->get_node()->set_cases(&g.training);
      twin->get_node()->activate(g.t.get(), false);
      const double estimate = twin->get_child(i)->prune_rep_est(*g.t, g.held, k_inf);
      pruning::raise(*twin, i, *g.t);
      activate_all(*twin, *g.t);
      // Errors by the rule of the leaves, each case split among the branches of unknown values.
      double errors = 0;
      std::vector<std::pair<const decision_tree*, case_list>> open;
      open.emplace_back(twin.get(), g.held);
      while (!open.empty()) {
        const auto [at, cases] = std::move(open.back());
        open.pop_back();
        if (at->get_no_childs() == 0) {
          errors += at->get_node()->get_leaf_error(g.t->class_column(), cases);
        }
        for (unsigned int c = 0; c < at->get_no_childs(); ++c) {
          const decision_tree* below = at->get_child(c);
          const std::unique_ptr<case_list> part(below->get_node()->select(*g.t, &cases, true));
          open.emplace_back(below, *part);
        }
      }
      EXPECT_NEAR(estimate, errors, 1e-9);
    }
  }
}

TEST(mep, keeps_the_m_of_the_fewest_errors_then_of_the_smallest_tree_then_the_first) {
  unsigned long with_choice = 0;
  for (unsigned long seed = 1; seed < 5; ++seed) {
    grown g(seed, false);
    g.tree->preprune(std::numeric_limits<double>::max());
    std::unique_ptr<decision_tree> best;
    for (const double m : {0.5, 1., 2., 3., 4., 8., 12., 16., 32., 64., 128., 512., 1024.}) {
      std::unique_ptr<decision_tree> pruned(g.tree->clone(*g.t, nullptr));
      pruned->prune_mep(*g.t, *g.tree->get_node(), m, false, false);
      const double error = pruned->err_misc(*g.t, g.held);
      const double least = best ? best->err_misc(*g.t, g.held) : k_inf;
      with_choice += best && best->size() != pruned->size();
      if (error < least || (error == least && pruned->size() < best->size())) best.swap(pruned);
    }
    best->set_estimated_error_from_leaf_error();
    g.prune(model::MEP);
    EXPECT_EQ(exact_text_of(*g.tree, *g.t), exact_text_of(*best, *g.t));
  }
  EXPECT_GT(with_choice, 0);
}

TEST(models, grow_on_seventy_percent_where_they_prune_on_the_rest) {
  const auto t = mixed_table(200, 1, false);
  const std::unique_ptr<case_list> all(t->get_all());
  for (unsigned int s = model::NO_PRUNING; s <= model::MEPA; ++s) {
    dtree m("t");
    m.set_pruning_strategy(static_cast<model::pruning_strategy>(s));
    m.build(t.get(), all.get());
    // 0.7 as a double is a little less than 0.7, and so is its share of 200 cases.
    EXPECT_EQ(m.cases_of_tree(*t, 0).size(), s >= model::REP ? 139 : 200) << s;
  }
}

// A list of fewer than 50 cases is measured in place. Sums of the fractions of cases of unknown
// value hang on the order in which that leaves it.
TEST(models, prune_with_the_cases_as_growing_left_them) {
  unsigned long other_order = 0;
  for (unsigned long seed = 0; seed < 60; ++seed) {
    const auto t = mixed_table(40, seed, /*weighted=*/true);
    const std::unique_ptr<case_list> cases(t->get_all());
    for (const auto strategy : {model::EBPG, model::EBPA}) {
      dtree m("t");
      m.set_pruning_strategy(strategy);
      m.set_conf_level(0.9);
      m.set_min_obj(1);
      m.build(t.get(), cases.get());
      const auto expected = [&](bool in_order) {
        case_list own(*cases);
        decision_tree tree;
        tree.build(*t, &own, model::GAIN_RATIO, 1, k_no_depth_limit, nullptr, nullptr);
        if (!in_order) own = *cases;
        tree.get_node()->set_cases(&own);
        pruning::prune(tree, strategy, {*t, 0.9, nullptr});
        return exact_text_of(tree, *t);
      };
      EXPECT_EQ(exact_text_of(m.get_tree(0), *t), expected(true)) << seed;
      other_order += expected(false) != expected(true);
    }
  }
  EXPECT_GT(other_order, 0);
}

TEST(raising, needs_the_training_cases) {
  const auto t = golf_table();
  const std::unique_ptr<case_list> held(t->get_all());
  for (const auto s : {model::EBPG, model::PEPA, model::REPG, model::MEPA}) {
    const auto tree = build_tree(split(0, {leaf({4, 0}), leaf({0, 4}), leaf({2, 0})}));
    EXPECT_THAT(
        [&] {
          pruning::prune(*tree, s, {*t, k_cf, held.get()});
        },
        testing::ThrowsMessage<std::runtime_error>("no training cases provided to prune the tree"));
  }
}

}  // namespace
