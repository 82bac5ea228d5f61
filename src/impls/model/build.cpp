// Training a model.
//
// An ensemble's tree is grown on as many draws, with replacement, as there are cases (Breiman
// 1996); a random forest's nodes measure random attributes besides (Breiman 2001). A tree's draws
// follow from its seed: the model keeps the seed, not the draws.
#include <cassert>
#include <cmath>
#include <stdexcept>

#include "impls/growing/growing_plan.h"
#include "impls/growing/packed_growing.h"
#include "impls/model/bootstrap.h"
#include "impls/model/dtree.h"
#include "impls/pruning/strategies.h"
#include "impls/tables/folds.h"
#include "impls/tables/same_codes.h"
#include "zel/util/cronos.h"
#include "zel/util/rand_gen.h"
#include "zel/util/run_context.h"

namespace orvik::impls {

namespace {

constexpr char k_no_training[] = "no training provided to build the tree";
constexpr char k_heavy[] = "the weights of a tree's cases have no finite sum";

using zel::util::draw;

/// Cases that are drawn again and again may weigh more than any number.
void require_finite_weight(const case_list& cases) {
  double sum = 0;
  for (const auto& each : cases) sum += each.second;
  if (!std::isfinite(sum)) throw std::runtime_error(k_heavy);
}

}  // namespace

void dtree::build(const table* t, const case_list* cases) {
  if (t == nullptr) throw std::runtime_error(k_no_table_to_build);
  if (cases == nullptr || cases->empty()) throw std::runtime_error(k_no_training);
  require_cases_of(*t, *cases);
  require_decision_for(*t);
  weigh_classes(*t, *cases);
  zel::util::cronos watch;
  watch.start();
  training_cm_.reset();
  choose_attributes(*t, *cases);
  table_ = t->clone(/*schema_only=*/true);
  all_or_no_trees([&] {
    grow_and_prune(*t, *cases);
    settle_classes();
    if (parameters_.calibrated != calibration::none) calibrate(*t, *cases);
    renew_training_cm(*t);
  });
  watch.stop();
  elapsed_ = watch.get_elapsed();
}

/// Those of a search, now or by feature_selection() on a table of this kind; else all.
void dtree::choose_attributes(const table& t, const case_list& cases) {
  if (search_.method != model::NO_SELECTION) {
    feature_selection(&t, &cases, nullptr);
    search_.by_build = true;
    return;
  }
  const bool found = search_.made_by != model::NO_SELECTION && !search_.by_build &&
                     attributes_->size() == t.n_attributes();
  if (found) return;
  attributes_ = std::make_shared<zel::adt::bitmap>(default_features(t));
  search_.made_by = model::NO_SELECTION;
}

void dtree::grow_and_prune(const table& t, const case_list& cases) {
  case_parts split;
  if (pruning::needs_separate_cases(parameters_.pruning))
    split = split_by_class(t, cases, run_->seeds());
  if (split.rest) weigh(t, *split.rest);
  cases_ = training_cases(split.first ? *split.first : cases);
  split.first.reset();  // the model's copy is smaller
  // Cases too few to be split are grown and pruned on.
  grow_trees(t, split.rest ? split.rest.get() : &cases);
}

/// What goes with the trees goes too.
void dtree::drop_trees() {
  trees_ = no_trees();
  cases_ = training_cases();
}

void dtree::grow_trees(const table& t, const case_list* prune_cases) {
  trees_ = no_trees();
  prepare_decision(t);
  growing_plan plan(t, parameters_.split, parameters_.min_obj, attributes_.get(), *run_,
                    parameters_.how);
  plan.leave_out_empty_leaves(parameters_.is_ensemble() &&
                              !pruning::needs_empty_leaves(parameters_.pruning));
  plan.empty_lists(true);  // those of grow_tree() are its own
  parameters_.kind == ensemble_kind::boosting ? boost(plan, prune_cases)
                                              : grow_side_by_side(plan, prune_cases);
}

void dtree::grow_side_by_side(const growing_plan& plan, const case_list* prune_cases) {
  const unsigned long n = parameters_.n_trees;
  std::vector<unsigned long> seeds(n);
  if (parameters_.is_ensemble()) {
    const unsigned long build_seed = run_->seeds().next(draw::bootstrap);
    for (unsigned long i = 0; i < n; ++i) {
      seeds[i] = run_->seeds().at(draw::bootstrap, {build_seed, i});
    }
  }
  const auto grow_to_pack = [&](unsigned long i) {
    case_list cases = cases_drawn(plan.t(), seeds[i]);
    require_finite_weight(cases);
    packed_tree tree = grow_packed(plan, cases, parameters_.max_depth, seeds[i]);
    run_->count(zel::util::progress::unit::trees);
    return tree;
  };
  const auto about = [&](unsigned long i) { return ensemble::about{seeds[i]}; };
  const auto grow = [&](unsigned long i) {
    const auto grown_on = [&] { return cases_drawn(plan.t(), seeds[i]); };
    std::unique_ptr<decision_tree> tree = grow_tree(plan, grown_on(), seeds[i]);
    if (!parameters_.is_ensemble()) tell_of_pruning();
    prune_tree(plan.t(), *tree, seeds[i], grown_on, prune_cases);
    run_->count(zel::util::progress::unit::trees);
    return tree;
  };
  run_->with_workers([&] {
    is_packed_as_it_grows() ? trees_.add_shared_out(*run_, plan.t(), n, grow_to_pack, about)
                            : trees_.add_shared_out(*run_, plan.t(), n, grow, about);
  });
}

/// Such a tree is grown by one thread: there must be enough of them to keep all threads at work.
bool dtree::is_packed_as_it_grows() const {
  constexpr unsigned long k_trees_per_worker = 4;
  return parameters_.is_ensemble() && parameters_.pruning == model::NO_PRUNING &&
         !parameters_.draws_in_order() &&
         (run_->n_workers < 2 || parameters_.n_trees >= k_trees_per_worker * run_->n_slots());
}

/// Growing reorders short case lists: the tree works on a list of its own.
std::unique_ptr<decision_tree> dtree::grow_tree(const growing_plan& plan, case_list cases,
                                                unsigned long seed) const {
  require_finite_weight(cases);
  auto tree = std::make_unique<decision_tree>();
  if (parameters_.draws_in_order()) {
    zel::util::rand_gen attributes = attribute_draws(seed);
    tree->build(plan, &cases, parameters_.max_depth, &attributes, seed);
  } else {
    tree->build(plan, &cases, parameters_.max_depth, nullptr, seed);
  }
  return tree;
}

zel::util::rand_gen dtree::attribute_draws(unsigned long seed) const {
  return {attributes_->count(), run_->seeds().at(draw::attributes, {seed})};
}

case_list dtree::cases_drawn(const table& t, unsigned long seed) const {
  case_list drawn;
  if (trees_.draws_cases()) {
    drawn.reserve(cases_.size());
    draws_on(t).for_each(seed, [&](unsigned long position) { drawn.push_back(cases_[position]); });
  } else {
    drawn = cases_.expand();
  }
  weigh(t, drawn);
  return drawn;
}

}  // namespace orvik::impls
