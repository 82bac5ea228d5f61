#include "selection.h"

#include "log.h"
#include "side_sets.h"
#include "trace.h"
#include "zel/util/errors.h"

namespace orvcmd {

namespace {

using orvik::dtree;
using orvik::table;

constexpr char k_incompatible[] = "incompatible pruning strategy and feature selection";

}  // namespace

void select_attributes(const options& opt, table* t, table::subset& train,
                       std::unique_ptr<dtree>& model, std::ostream* log, std::ostream* trace) {
  if (opt.feature_selection == orvik::model::NO_SELECTION) return;
  if (opt.strategy().separate_cases) zel::util::throw_pointer(k_incompatible);
  const side_sets sets = split_classes(t, train, k_growing_share, /*random=*/trace == nullptr);
  log_line(log, "Feature selection on ", sets.held->size(), " search cases");
  model->set_fs(static_cast<dtree::_FeatureSelection>(opt.feature_selection), opt.as_delta);
  model->set_fs_limit(opt.fs_limit);
  model->set_pruning_strategy(static_cast<dtree::_PruningStrategy>(opt.pruning));
  const auto search = [&](dtree& searching) {
    // Too few cases to keep some: the model draws its own, and says so.
    searching.feature_selection(t, sets.both() ? sets.grow.get() : &train,
                                sets.both() ? sets.held.get() : nullptr);
    return searching.get_elapsed();
  };
  if (trace == nullptr) {
    search(*model);
  } else {
    model = trace_operation(opt, "fs", *model, *trace, search);
  }
  log_line(log, model->get_as_logs());
  log_line(log, " + features selected: ", items_of(model->attributes(t)));
  log_line(log, " + time: ", model->get_elapsed(), " secs");
}

void log_unseen_error(const options& opt, table* t, const dtree& model, table::subset* holdout,
                      std::ostream* log) {
  if (log == nullptr || holdout == nullptr) return;
  if (opt.feature_selection == orvik::model::NO_SELECTION) return;
  const std::unique_ptr<orvik::conf_matrix> cm(model.test(t, holdout, nullptr));
  log_line(log, " + err: ", 100 * cm->err_misc(), "% on ", holdout->size(),
           " cases that neither grew nor searched");
}

}  // namespace orvcmd
