// The search for the attributes that the model of a run may use.
#pragma once

#include <memory>
#include <ostream>

#include "driver.h"

namespace orvcmd {

/// Searches attributes for `model` by the method of the options, with trees that are grown on 70 %
/// of `train` and judged on the others; under a trace the split is not drawn, and the search is
/// made with every number of workers. Without a method nothing happens. Reorders `train`.
/// Throws a pointer to a std::runtime_error for a pruning strategy that sets cases aside itself.
void select_attributes(const options& opt, orvik::table* t, orvik::table::subset& train,
                       std::unique_ptr<orvik::dtree>& model, std::ostream* log,
                       std::ostream* trace);

/// Logs the error of a model whose attributes were searched on cases that took no part in that.
void log_unseen_error(const options& opt, orvik::table* t, const orvik::dtree& model,
                      orvik::table::subset* holdout, std::ostream* log);

}  // namespace orvcmd
