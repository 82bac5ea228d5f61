// Pruning the trees of a model, side by side, with its strategy.
#include <cassert>
#include <stdexcept>

#include "impls/growing/measured_order.h"
#include "impls/model/dtree.h"
#include "impls/model/scaled_costs.h"
#include "impls/pruning/strategies.h"
#include "impls/tables/same_codes.h"
#include "zel/util/cronos.h"
#include "zel/util/progress_display.h"
#include "zel/util/run_context.h"

namespace orvik::impls {

namespace {

constexpr char k_nothing_to_prune_on[] = "no table provided to prune_dt";
constexpr char k_no_tree[] = "no unpruned tree";
constexpr char k_other_values[] = "the table has other values than that of the training cases";
constexpr char k_boosted[] = "boosted trees are pruned as they are grown, and not again";
constexpr char k_no_training[] = "no training cases provided to prune the tree";

}  // namespace

/// Where growing is what is watched, pruning is not counted as more of it.
void dtree::tell_of_pruning() const {
  using zel::util::progress::unit;
  const unit watched = run_->progress().read().of;
  const bool prunes = model::row_of(parameters_.pruning).name != nullptr;
  if (prunes && (watched == unit::nodes || watched == unit::trees)) {
    zel::util::progress::stage("pruning");
  }
}

void dtree::require_trees() const {
  if (trees_.empty()) throw std::runtime_error(k_no_tree);
}

void dtree::require_values_of(const table& t) const {
  require_trees();
  if (!have_equal_codes(*table_, t)) throw std::runtime_error(k_other_values);
}

void dtree::prune(const table* t, const case_list* prune_cases) {
  if (t == nullptr) throw std::runtime_error(k_nothing_to_prune_on);
  require_values_of(*t);
  if (prune_cases != nullptr) require_cases_of(*t, *prune_cases);
  zel::util::cronos watch;
  watch.start();
  prune_trees(*t, prune_cases);
  settle_classes();
  renew_training_cm(*t);
  watch.stop();
  elapsed_ = watch.get_elapsed();
}

void dtree::prune_trees(const table& t, const case_list* prune_cases) {
  if (trees_.kind() == ensemble_kind::boosting) throw std::runtime_error(k_boosted);
  require_decision_for(t);
  decide_by(calibrator(), own_shares());  // what was learned is of the trees as they were
  const bool from_training =
      pruning::needs_separate_cases(parameters_.pruning) && prune_cases == nullptr;
  if (from_training || pruning::needs_training_cases(parameters_.pruning)) {
    if (cases_.empty()) throw std::runtime_error(k_no_training);
    require_training_rows(t);
  }
  tell_of_pruning();
  case_list training;
  if (from_training) prune_cases = &(training = cases_.expand());
  if (prune_cases != nullptr && !class_weights_.empty()) {
    if (!from_training) training = *prune_cases;
    weigh(t, training);
    prune_cases = &training;
  }
  all_or_no_trees([&] {
    set_classes(decision());  // growing's: pruning goes by these
    run_->with_workers([&] {
      run_->for_each_index(trees_.n_trees(), [&](unsigned long i) {
        const auto grown_on = [&] { return cases_of_tree(t, i); };
        const bool complete = pruning::needs_empty_leaves(parameters_.pruning);
        trees_.change(t, i, complete, [&](decision_tree& tree) {
          prune_tree(t, tree, trees_.seed(i), grown_on, prune_cases);
        });
      });
    });
  });
}

/// A matrix of the trees as they were would say other than the trees do.
void dtree::renew_training_cm(const table& t) {
  training_cm_.reset();
  if (!parameters_.keep_training_cm || cases_.empty()) return;
  require_training_rows(t);
  const case_list cases = cases_.expand();
  training_cm_ = test(t, cases, nullptr);
}

/// Puts the cases of a tree in the order that growing left them in.
void dtree::sort_as_grown(const table& t, const decision_tree& tree, unsigned long seed,
                          case_list& cases) const {
  const bool measured =
      parameters_.max_depth > 0 && !tree.get_node()->stays_leaf(parameters_.min_obj);
  if (!measured || !attributes_ || parameters_.how.draws()) return;
  if (parameters_.draws_in_order()) {
    zel::util::rand_gen draws = attribute_draws(seed);
    sort_as_measured(t, *attributes_, &draws, cases);
  } else {
    sort_as_measured(t, *attributes_, nullptr, cases);
  }
}

/// The cases that the tree was grown on lie at its root while it is pruned.
void dtree::prune_tree(const table& t, decision_tree& tree, unsigned long seed,
                       const std::function<case_list()>& grown_on, const case_list* prune_cases) {
  assert(!tree.get_node()->is_active());
  const scaled_costs costs = costs_of(tree);
  const pruning::material with{t, parameters_.conf_level, prune_cases, *run_, costs.price()};
  if (!pruning::needs_training_cases(parameters_.pruning)) {
    pruning::prune(tree, parameters_.pruning, with);
    return costs.restore(tree);
  }
  case_list own = grown_on();
  sort_as_grown(t, tree, seed, own);
  tree.get_node()->set_cases(&own);
  pruning::prune(tree, parameters_.pruning, with);
  tree.get_node()->disactivate();  // the root, whichever it is now, forgets the list
  costs.restore(tree);
}

}  // namespace orvik::impls
