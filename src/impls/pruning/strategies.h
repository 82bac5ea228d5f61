// From the rows of orvik/strategies.h to the algorithms: a family of strategies is a file that ends
// in one of the functions below.
#pragma once

#include "impls/pruning/raising.h"
#include "impls/tables/table.h"
#include "impls/trees/decision_tree.h"
#include "orvik/strategies.h"
#include "zel/util/default_context.h"

namespace orvik::impls::pruning {

/// What pruning works with. Raising needs the training cases at the root of the tree besides.
struct material {
  const table& t;
  double confidence;       // of error-based pruning
  const case_list* cases;  // pruning cases; null where the strategy has no use for them
  zel::util::run_context& run = zel::util::default_context();
  pricing price{};  // of errors
};

/// Whether the strategy can do without counting errors, where these have costs.
bool prunes_by_costs(model::pruning_strategy strategy);
/// Whether the strategy prunes on separate cases, and whether on the training cases at the nodes.
bool needs_separate_cases(model::pruning_strategy strategy);
bool needs_training_cases(model::pruning_strategy strategy);
/// Whether it looks at leaves that no case came to; others do with trees that lack them.
bool needs_empty_leaves(model::pruning_strategy strategy);

/// Pre-prunes and prunes one tree. Strategies without a family only pre-prune, NO_PRUNING only
/// stores errors.
void prune(decision_tree& tree, model::pruning_strategy strategy, const material& with);

// The families, each in its file: they prune a pre-pruned tree and leave the stored errors in it.
void prune_by_ebp(decision_tree& tree, const material& with, raising how);
void prune_by_pep(decision_tree& tree, const material& with, raising how);
void prune_by_rep(decision_tree& tree, const material& with, raising how);
void prune_by_mep(decision_tree& tree, const material& with, raising how);

}  // namespace orvik::impls::pruning
