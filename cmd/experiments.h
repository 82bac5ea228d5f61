// Batch experiments: they replace the training run and write one line a measured model to the
// log.
#pragma once

#include <functional>
#include <ostream>

#include "driver.h"
#include "zel/util/seed.h"

namespace orvcmd {

/// Throws std::runtime_error when `opt` asks for an experiment without what it needs.
void require_experiment(const options& opt);

/// Calls write(i, lines) for every i below n, and writes the lines to the log, which may be null,
/// in that order; processes share out the calls. Each draws about `drawn` from the seeds of the
/// run.
void write_in_turn(std::ostream* log, unsigned long n, const zel::util::seed_source::places& drawn,
                   const std::function<void(unsigned long, std::ostream&)>& write);

/// Compares the pruning strategies on the folds of one cross-validation. The fold numbers go on
/// from exp_id x folds. Strategies that prune on the training cases start from one unlimited tree
/// a fold, the others from a tree grown on 70 % of the cases and limited by "-depth".
/// Throws std::runtime_error for more folds than rows. @return no model.
training exp_sdm2012(orvik::table* t, const options& opt, std::ostream* log);

/// Throws std::runtime_error unless every delta of "-as2018" is -1, or at least 0 and finite.
void require_deltas(const options& opt);

/// Compares models on acceptable subsets, on the subset of an exhaustive search (tables of at most
/// 20 attributes) and, where the options have one, forests on all attributes and on the acceptable
/// ones: a line for every fold of one cross-validation, every minimum weight from as2018_x,
/// doubling up to as2018_y, and every delta of as2018_arg. The fold numbers go on from
/// exp_id x 10. Sets `reserved_limit` to 0. Throws std::runtime_error for more folds than rows.
/// @return no model.
training exp_as2018(orvik::table* t, options& opt, std::ostream* log);

}  // namespace orvcmd
