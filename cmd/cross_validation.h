// Repeated stratified cross-validation of the run's settings over the whole table.
#pragma once

#include <ostream>

#include "driver.h"

namespace orvcmd {

/// A mean over folds and the standard deviation of the folds.
struct fold_figure {
  double mean, deviation;
};

/// Of n folds whose values sum to `sum` and their squares to `sum2`. One fold has no deviation:
/// it is not a number.
fold_figure figure_of(double sum, double sum2, double n);
/// Drops all but two decimals of `value` x 100 (or of `value`); keeps a not-a-number.
double percent_truncated(double value);
double truncated(double value);

/// Builds a copy of `model` (its parameters) on every fold's complement, tests it on the fold,
/// and sums up in `errors`; where figures or sets are asked for, `result` receives what is said of
/// the folds. Throws std::runtime_error for more folds than rows and for an empty training part.
void cross_validate(const options& opt, orvik::table* t, const orvik::dtree& model,
                    _cv_errors& errors, training& result, std::ostream* log);

}  // namespace orvcmd
