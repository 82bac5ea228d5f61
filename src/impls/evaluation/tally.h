// Predictions for a case list, made by all workers and tallied in the order of the list: sums of
// fractional weights have one order for any number of workers.
#pragma once

#include "impls/evaluation/batch_predictor.h"
#include "impls/evaluation/conf_matrix.h"
#include "impls/tables/table.h"

namespace orvik::impls {

/// Adds every case, its weight times `weight`, to `matrix` at (class, predicted class).
/// @return the sum of depth x weight. Memory does not grow with the list. Uses the workers of the
/// predictor.
double tally(const table& t, const case_list& cases, double weight, conf_matrix& matrix,
             const batch_predictor& predictor);

}  // namespace orvik::impls
