#include "impls/pruning/strategies.h"

#include <algorithm>
#include <limits>

namespace orvik::impls::pruning {

namespace {

constexpr unsigned int k_flavours = 3;

constexpr family k_families[] = {{model::EBP, false, prune_by_ebp},
                                 {model::PEP, false, prune_by_pep},
                                 {model::REP, true, prune_by_rep},
                                 {model::MEP, true, prune_by_mep}};

/// Null for a strategy without an algorithm of its own.
const family* family_of(model::pruning_strategy strategy) {
  const auto* const found = std::ranges::find_if(k_families, [&](const family& f) {
    return strategy >= f.first && strategy < f.first + k_flavours;
  });
  return found == std::end(k_families) ? nullptr : found;
}

raising flavour_of(model::pruning_strategy strategy, const family& f) {
  return static_cast<raising>(strategy - f.first);
}

}  // namespace

bool needs_separate_cases(model::pruning_strategy strategy) {
  const family* f = family_of(strategy);
  return f != nullptr && f->separate_cases;
}

bool needs_training_cases(model::pruning_strategy strategy) {
  const family* f = family_of(strategy);
  return f != nullptr && flavour_of(strategy, *f) != raising::none;
}

void prune(decision_tree& tree, model::pruning_strategy strategy, const material& with) {
  if (strategy == model::NO_PRUNING) {
    tree.set_estimated_error_from_leaf_error();
    return;
  }
  tree.preprune(std::numeric_limits<double>::max());
  if (const family* f = family_of(strategy)) f->prune(tree, with, flavour_of(strategy, *f));
}

}  // namespace orvik::impls::pruning
