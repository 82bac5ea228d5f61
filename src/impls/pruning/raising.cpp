#include "impls/pruning/raising.h"

#include <cassert>

namespace orvik::impls::pruning {

candidate best_of(const decision_tree& tree, const std::vector<double>& estimates, tie rule) {
  const auto wins_tie = [&](unsigned int i, unsigned int best) {
    return rule == tie::later_child || tree.get_child(i)->size() < tree.get_child(best)->size();
  };
  candidate best{0, estimates[0]};
  for (unsigned int i = 1; i < estimates.size(); ++i) {
    const double e = estimates[i];
    if (e < best.estimate || (e == best.estimate && wins_tie(i, best.child))) best = {i, e};
  }
  return best;
}

void raise(decision_tree& tree, unsigned int i, const table& t) {
  assert(tree.get_node()->is_active());
  tree.get_child(i)->get_node()->activate_from_father(&t, /*take_place=*/true);
  tree.get_node()->disactivate();
  tree.replace_with_son(i);
}

}  // namespace orvik::impls::pruning
