// What there is to know of the pruning strategies: one row each, by number.
#pragma once

#include "orvik/enums.h"

namespace orvik::model {

/// Share of the cases that trees are grown on where the others are set aside, to prune the trees or
/// to judge sets of attributes on them.
inline constexpr double k_growing_share = 0.7;

/// Which child may take its father's place.
enum class raising : unsigned char { none, largest_child, best_child };

struct strategy_row {
  const char* name;         ///< as reports show it; null for one without an algorithm of its own
  pruning_strategy family;  ///< the strategy of this kind that raises no child
  raising raises;
  bool prunes_by_confidence;  ///< the confidence level counts
  bool separate_cases;        ///< prunes on cases that the tree was not grown on
};

inline constexpr strategy_row k_strategies[N_PRUNING_STRATEGIES] = {
    {nullptr, NO_PRUNING, raising::none, false, false},
    {nullptr, PRE_PRUNING_ONLY, raising::none, false, false},
    {"EBP", EBP, raising::none, true, false},
    {"EBPG", EBP, raising::largest_child, true, false},
    {"EBPA", EBP, raising::best_child, true, false},
    {"PEP", PEP, raising::none, false, false},
    {"PEPG", PEP, raising::largest_child, false, false},
    {"PEPA", PEP, raising::best_child, false, false},
    {"REP", REP, raising::none, false, true},
    {"REPG", REP, raising::largest_child, false, true},
    {"REPA", REP, raising::best_child, false, true},
    {"MEP", MEP, raising::none, false, true},
    {"MEPG", MEP, raising::largest_child, false, true},
    {"MEPA", MEP, raising::best_child, false, true},
};

/// A number that is no strategy's is pre-pruned, and no more.
constexpr const strategy_row& row_of(unsigned int strategy) {
  return k_strategies[strategy < N_PRUNING_STRATEGIES
                          ? strategy
                          : static_cast<unsigned int>(PRE_PRUNING_ONLY)];
}

}  // namespace orvik::model
