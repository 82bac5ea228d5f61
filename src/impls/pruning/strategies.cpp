#include "impls/pruning/strategies.h"

#include <limits>

namespace orvik::impls::pruning {

namespace {

using algorithm = void (*)(decision_tree&, const material&, raising);

/// Null for a family without one.
algorithm algorithm_of(model::pruning_strategy family) {
  switch (family) {
    case model::EBP:
      return prune_by_ebp;
    case model::PEP:
      return prune_by_pep;
    case model::REP:
      return prune_by_rep;
    case model::MEP:
      return prune_by_mep;
    default:
      return nullptr;
  }
}

}  // namespace

bool prunes_by_costs(model::pruning_strategy strategy) {
  return model::row_of(strategy).family != model::PEP;
}

bool needs_separate_cases(model::pruning_strategy strategy) {
  return model::row_of(strategy).separate_cases;
}

bool needs_training_cases(model::pruning_strategy strategy) {
  return model::row_of(strategy).raises != raising::none;
}

bool needs_empty_leaves(model::pruning_strategy strategy) {
  const model::strategy_row& row = model::row_of(strategy);
  if (algorithm_of(row.family) == nullptr) return false;
  return row.family != model::EBP || row.raises != raising::none;
}

void prune(decision_tree& tree, model::pruning_strategy strategy, const material& with) {
  if (strategy == model::NO_PRUNING) {
    tree.set_estimated_error_from_leaf_error(with.price);
    return;
  }
  tree.preprune(std::numeric_limits<double>::max(), with.price);
  const model::strategy_row& row = model::row_of(strategy);
  if (const algorithm prune_by = algorithm_of(row.family)) prune_by(tree, with, row.raises);
}

}  // namespace orvik::impls::pruning
