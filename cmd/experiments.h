// Batch experiments: they replace the training run and write one line a measured model to the
// log.
#pragma once

#include <ostream>

#include "driver.h"

namespace orvcmd {

/// Throws std::runtime_error when `opt` asks for an experiment without what it needs.
void require_experiment(const options& opt);

/// Compares the pruning strategies on the folds of one cross-validation. The fold numbers go on
/// from exp_id x folds. Strategies that prune on the training cases start from one unlimited tree
/// a fold, the others from a tree grown on 70 % of the cases and limited by "-depth".
/// Throws std::runtime_error for more folds than rows. @return no model.
training exp_sdm2012(orvik::table* t, const options& opt, std::ostream* log);

}  // namespace orvcmd
