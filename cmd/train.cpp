// Training: the hold-out split, growing, pruning.
#include <cmath>

#include "calibrate.h"
#include "cost_options.h"
#include "cross_validation.h"
#include "driver.h"
#include "log.h"
#include "selection.h"
#include "side_sets.h"
#include "trace.h"
#include "zel/util/progress_display.h"
#include "zel/util/run_context.h"

namespace orvcmd {

namespace {

using orvik::dtree;
using orvik::table;
using subset_ptr = std::unique_ptr<table::subset>;

std::vector<std::string> class_texts(const orvik::schema_view& schema) {
  const orvik::column_view classes = schema.class_column();
  std::vector<std::string> texts;
  for (orvik::code_t c = 0; c < schema.n_class_codes(); ++c) texts.push_back(classes.exact(c));
  return texts;
}

unsigned long share_of(unsigned long rows, double fraction) {
  return static_cast<unsigned long>(static_cast<double>(rows) * fraction);
}

struct holdout_split {
  subset_ptr train, holdout;
};

holdout_split split_stratified(table* t, double fraction, bool random) {
  const subset_ptr all(t->get_wsubset_all());
  auto [first, rest] = split_classes(t, *all, fraction, random);
  return {std::move(first), std::move(rest)};
}

/// The first hold-out option that is set, in a fixed order, decides.
holdout_split split_holdout(const options& opt, table* t) {
  if (opt.holdout_stratified_random > 0) {
    return split_stratified(t, opt.holdout_stratified_random, true);
  }
  if (opt.holdout_stratified_deterministic > 0) {
    return split_stratified(t, opt.holdout_stratified_deterministic, false);
  }
  holdout_split split;
  const unsigned long rows = t->get_no_rows();
  if (opt.holdout_random > 0) {
    split.train.reset(t->get_wsubset_random(share_of(rows, opt.holdout_random)));
  } else if (opt.holdout_first > 0) {
    split.train.reset(t->get_wsubset_first_n(share_of(rows, opt.holdout_first)));
  } else {
    split.train.reset(t->get_wsubset_all());
    return split;
  }
  split.holdout.reset(t->get_wsubset_difference(split.train.get()));
  return split;
}

void log_measures(std::ostream* log, const dtree& model) {
  log_line(log, " + size: ", model.size(), " depth: ", model.depth(), " nf: ", model.nfeatures(),
           " time: ", model.get_elapsed(), " secs");
}

/// What the processes of the run told one another to grow trees together.
void log_told(std::ostream* log) {
  const auto& steps = zel::util::default_context().steps;
  if (steps.n == 0) return log_line(log, " + told: nothing");
  log_line(log, " + told: ", steps.bytes, " bytes in ", steps.n, " rounds, at most ",
           steps.most_bytes, " in one");
  if (steps.cells > 0) log_line(log, " + told besides: ", steps.cells, " bytes of cells");
}

/// The out-of-bag error of an ensemble; nothing for a single tree.
void log_oob_error(std::ostream* log, table* t, const dtree& model) {
  if (log == nullptr) return;
  const double error = model.get_oob_error(t);
  if (!std::isnan(error)) log_line(log, " + oob: ", 100 * error, "%");
}

/// A trace that begins with one worker measures the building; otherwise the model is built once.
void grow(const options& opt, table* t, table::subset* cases, std::unique_ptr<dtree>& model,
          std::ostream* log, std::ostream* trace) {
  log_line(log, "Building ", opt.n_trees, " tree(s) on ", cases->size(), " cases");
  using zel::util::progress::unit;
  const bool many = opt.n_trees > 1;
  zel::util::default_context().progress().begin(many ? unit::trees : unit::nodes,
                                                many ? static_cast<unsigned long>(opt.n_trees) : 0);
  const bool preprune = opt.pruning != static_cast<int>(orvik::model::NO_PRUNING);
  const auto first = opt.boosting ? static_cast<dtree::_PruningStrategy>(opt.pruning)
                     : preprune   ? orvik::model::PRE_PRUNING_ONLY
                                  : orvik::model::NO_PRUNING;
  model->set_pruning_strategy(first);  // boosting prunes each tree before it weighs the next
  model->set_fs(orvik::model::NO_SELECTION, 0);  // it was made, if at all
  if (trace != nullptr && opt.trace_min_workers == 1) {
    model = trace_operation(opt, "build", *model, *trace, [&](dtree& copy) {
      copy.build(t, cases);
      return copy.get_elapsed();
    });
  } else {
    model->build(t, cases);
  }
  model->set_fs(static_cast<dtree::_FeatureSelection>(opt.feature_selection), opt.as_delta);
  log_line(log, " + tree(s) built");
  if (opt.columns) log_told(log);
  log_measures(log, *model);
  log_oob_error(log, t, *model);
}

/// Sets cases aside for the strategies that prune on cases of their own. Under a trace the split
/// is not drawn, so that its times compare.
side_sets set_aside(const options& opt, table* t, table::subset& train, std::ostream* log,
                    bool random) {
  if (!opt.strategy().separate_cases || opt.boosting) return {};  // which does so itself
  side_sets sets = split_classes(t, train, k_growing_share, random);
  if (sets.both()) return sets;
  log_line(log, "Too few cases to set some aside for pruning");
  return {};
}

void prune(const options& opt, table* t, dtree& model, table::subset* held, std::ostream* log) {
  model.set_pruning_strategy(static_cast<dtree::_PruningStrategy>(opt.pruning));
  if (opt.strategy().name == nullptr || opt.boosting) return;
  if (held != nullptr) {
    log_line(log, "Pruning tree using ", held->size(), " pruning cases");
  } else {
    log_line(log, "Pruning tree using training set");
  }
  zel::util::progress::stage("pruning");
  model.prune(t, held);
  log_line(log, " + tree pruned");
  log_measures(log, model);
  log_oob_error(log, t, model);
}

}  // namespace

std::unique_ptr<dtree> make_model(const options& opt, const table& t) {
  auto model = std::make_unique<dtree>(t.get_name());
  model->set_conf_level(opt.confidence_level);
  model->set_min_obj(opt.min_weighted_objects);
  if (opt.max_depth >= 0) model->set_max_depth(static_cast<unsigned long>(opt.max_depth));
  model->set_split_type(static_cast<dtree::_SplitType>(opt.split_type));
  model->set_keep_training_cm(false);  // it is set when the model is finished
  return model;
}

void make_ensemble(const options& opt, dtree& model) {
  const auto n = static_cast<unsigned long>(opt.n_trees);
  if (opt.boosting) {
    model.set_boosting(n);
  } else if (opt.forest || opt.bagging) {
    model.set_forest(opt.forest, opt.bagging, n);
  }
  model.set_growth(opt.growth);
  model.set_resampling(opt.draws);
  model.set_combination(opt.answer);
}

namespace {

/// How it decides, and what its classes weigh.
void make_decision(const options& opt, const table& t, dtree& model) {
  model.set_smoothing(opt.laplace);
  if (opt.costs_file.empty() && opt.class_weights.empty()) return;
  const std::vector<std::string> classes = class_texts(t.get_schema());
  if (!opt.costs_file.empty()) {
    model.set_costs(t, orvik::read_costs(opt.costs_file, classes),
                    opt.weighs_costs ? orvik::cost_use::weighs : orvik::cost_use::decides);
  }
  if (opt.class_weights == k_balanced) {
    model.set_balanced_classes(true);
  } else if (!opt.class_weights.empty()) {
    model.set_class_weights(orvik::read_class_weights(opt.class_weights, classes));
  }
}

}  // namespace

training buildtree(const options& opt, table* t, _cv_errors& errors, std::ostream* log,
                   std::ostream* trace) {
  holdout_split split = split_holdout(opt, t);
  std::unique_ptr<dtree> model = make_model(opt, *t);
  make_ensemble(opt, *model);
  make_decision(opt, *t, *model);
  if (trace != nullptr) begin_trace(*trace);
  select_attributes(opt, t, *split.train, model, log, trace);
  const side_sets sets = set_aside(opt, t, *split.train, log, /*random=*/trace == nullptr);
  table::subset* const cases = sets.grow ? sets.grow.get() : split.train.get();
  grow(opt, t, cases, model, log, trace);
  prune(opt, t, *model, sets.held.get(), log);
  calibrate(opt, t, cases, *model, log);
  if (opt.shows_training_matrix()) model->set_training_cm(t, cases);
  log_unseen_error(opt, t, *model, split.holdout.get(), log);
  training result{std::move(model), std::move(split.holdout), {}, {}, {}, {}};
  if (opt.judges()) {
    const std::unique_ptr<orvik::conf_matrix> as_before(
        result.model->test(t, cases, result.judged));
    result.judged_out_of_bag = result.model->get_oob_rows(t);
  }
  if (opt.cv_folds > 0) {
    cross_validate(opt, t, *result.model, errors, result, log);
  }
  return result;
}

}  // namespace orvcmd
