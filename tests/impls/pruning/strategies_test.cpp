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

  /// Without unknown values leaves stay empty.
  explicit grown(unsigned long seed, bool weighted, bool unknown = true)
      : t(mixed_table(600, seed, weighted, unknown)) {
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

TEST_P(every_strategy, leaves_its_errors_and_the_statistics_of_the_cases_and_no_cases) {
  for (const bool weighted : {false, true}) {
    grown g(GetParam() + 1, weighted);
    g.prune(strategy());
    const std::unique_ptr<decision_tree> again(g.tree->clone(*g.t, nullptr));
    again->get_node()->set_cases(&g.training);
    activate_all(*again, *g.t);
    std::vector<const decision_node*> expected;
    each_node(*again, [&](const decision_tree& at) { expected.push_back(at.get_node()); });
    const double coeff = decision_tree::CFCoefficient(k_cf);
    auto same = expected.begin();
    each_node(*g.tree, [&](const decision_tree& at) {
      const decision_node& node = *at.get_node();
      const double e = node.get_estimated_error_if_leaf();
      const double leaf = is_ebp() ? e + decision_tree::add_errs(k_cf, coeff, node.weight(), e) : e;
      const bool inner = at.get_no_childs() > 0;
      EXPECT_EQ(node.estimated_error(), inner ? at.errors_of_children() : leaf);
      EXPECT_EQ(node.is_split(), inner);
      EXPECT_FALSE(node.is_active());
      EXPECT_EQ(node.cases(), nullptr);
      EXPECT_EQ(node.n_cases(), (*same)->n_cases());
      EXPECT_NEAR(node.weight(), (*same)->weight(), 1e-9);
      EXPECT_NEAR(node.fraction(), (*same)->fraction(), 1e-9);
      for (code_t c = 0; c < g.t->n_class_codes(); ++c) {
        EXPECT_NEAR(node.class_weight(c), (*same)->class_weight(c), 1e-9);
      }
      ++same;
    });
  }
}

// Some strategies take time by the square of the levels; frames are larger under a sanitizer.
#ifdef __SANITIZE_ADDRESS__
constexpr unsigned long k_levels = 15000;
#else
constexpr unsigned long k_levels = 50000;
#endif

TEST_P(every_strategy, prunes_deep_trees) {
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

/// Errors by the rule of the leaves, each case split among the branches of unknown values.
double errors_on(const decision_tree& tree, const table& t, const case_list& cases) {
  if (tree.get_no_childs() == 0) return tree.get_node()->get_leaf_error(t.class_column(), cases);
  double errors = 0;
  for (unsigned int c = 0; c < tree.get_no_childs(); ++c) {
    const decision_tree& below = *tree.get_child(c);
    const std::unique_ptr<case_list> part(below.get_node()->select(t, &cases, true));
    errors += errors_on(below, t, *part);
  }
  return errors;
}

// The twin raises a child of a copy and counts there.
class estimates : public testing::TestWithParam<unsigned long> {};
INSTANTIATE_TEST_SUITE_P(tables, estimates, testing::Range(1UL, 10UL));

TEST_P(estimates, are_what_the_raised_child_has) {
  grown g(GetParam(), GetParam() % 2 == 0, GetParam() < 6);
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
    EXPECT_NEAR(child.prune_rep_est(*g.t, g.held, k_inf), errors_on(*twin, *g.t, g.held), 1e-9);
    EXPECT_NEAR(child.prune_pep_est(*g.t, k_inf), pep, 1e-9);
    EXPECT_NEAR(child.prune_ebp_est(*g.t, k_cf, coeff, k_inf), ebp, 1e-9);
    EXPECT_NEAR(child.prune_mep_est(*g.t, prior, 3, k_inf), mep, 1e-9);
    EXPECT_NEAR(child.prune_mep_est(*g.t, prior, 3, mep + 0.001), mep, 1e-9);
    EXPECT_EQ(child.prune_ebp_est(*g.t, k_cf, coeff, ebp - 0.001), k_inf);
    EXPECT_EQ(exact_text_of(*g.tree, *g.t), before);
    g.tree->get_node()->disactivate();
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
        const auto tree = grow_level_by_level(*t, own, [&](decision_node& node, unsigned long) {
          node.split(*t, {model::GAIN_RATIO, 1, nullptr, t->n_attributes()}, nullptr);
        });
        if (!in_order) own = *cases;
        tree->get_node()->set_cases(&own);
        pruning::prune(*tree, strategy, {*t, 0.9, nullptr});
        return exact_text_of(*tree, *t);
      };
      EXPECT_EQ(exact_text_of(*m.get_tree(0), *t), expected(true)) << seed;
      other_order += expected(false) != expected(true);
    }
  }
  EXPECT_GT(other_order, 0);
}

}  // namespace
