// Pruning the trees of a model, side by side, with its strategy.
#include <stdexcept>

#include "impls/model/dtree.h"
#include "impls/pruning/strategies.h"
#include "zel/util/cronos.h"
#include "zel/util/parallel.h"

namespace orvik::impls {

namespace {

constexpr char k_no_table[] = "no table provided to prune_dt";
constexpr char k_no_tree[] = "no unpruned tree";
constexpr char k_no_training[] = "no training cases provided to prune the tree";

}  // namespace

void dtree::require_trees() const {
  if (trees_.empty()) throw std::runtime_error(k_no_tree);
}

void dtree::prune(const table* t, const case_list* prune_cases) {
  if (t == nullptr) throw std::runtime_error(k_no_table);
  require_trees();
  const bool from_training = pruning::needs_separate_cases(pruning_) && prune_cases == nullptr;
  if ((from_training || pruning::needs_training_cases(pruning_)) && cases_.empty()) {
    throw std::runtime_error(k_no_training);
  }
  zel::util::cronos watch;
  watch.start();
  case_list training;
  if (from_training) prune_cases = &(training = cases_.expand());
  zel::util::parallel::with_workers([&] {
    zel::util::parallel::for_each_index(trees_.size(),
                                        [&](unsigned long i) { prune_tree(*t, i, prune_cases); });
  });
  watch.stop();
  elapsed_ = watch.get_elapsed();
}

/// The cases of tree i lie at its root while it is pruned.
void dtree::prune_tree(const table& t, unsigned long i, const case_list* prune_cases) const {
  decision_tree& tree = *trees_[i];
  const pruning::material with{t, conf_level_, prune_cases};
  if (!pruning::needs_training_cases(pruning_)) {
    pruning::prune(tree, pruning_, with);
    return;
  }
  case_list own = cases_of_tree(i);
  tree.get_node()->set_cases(&own);
  pruning::prune(tree, pruning_, with);
  tree.get_node()->disactivate();  // the root, whichever it is now, forgets the list
}

}  // namespace orvik::impls
