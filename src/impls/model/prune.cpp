// Which strategy does what.
#include <limits>
#include <stdexcept>

#include "impls/model/dtree.h"
#include "zel/util/cronos.h"
#include "zel/util/parallel.h"

namespace orvik::impls {

namespace {

constexpr char k_no_table[] = "no table provided to prune_dt";
constexpr char k_no_tree[] = "no unpruned tree";
constexpr char k_unavailable[] = "pruning strategy not available in this version";

}  // namespace

void dtree::require_trees() const {
  if (trees_.empty()) throw std::runtime_error(k_no_tree);
}

void dtree::prune(const table* t, const case_list*) {
  if (t == nullptr) throw std::runtime_error(k_no_table);
  require_trees();
  zel::util::cronos watch;
  watch.start();
  zel::util::parallel::with_workers([&] {
    zel::util::parallel::for_each_index(trees_.size(),
                                        [&](unsigned long i) { prune_tree(*t, *trees_[i]); });
  });
  watch.stop();
  elapsed_ = watch.get_elapsed();
}

void dtree::prune_tree(const table& t, decision_tree& tree) const {
  if (pruning_ == model::NO_PRUNING) {
    tree.set_estimated_error_from_leaf_error();
    return;
  }
  if (pruning_ > model::EBP && pruning_ <= model::MEPA) throw std::runtime_error(k_unavailable);
  tree.preprune(std::numeric_limits<double>::max());
  if (pruning_ == model::EBP) {
    tree.prune_dt(t, conf_level_, decision_tree::CFCoefficient(conf_level_));
  }
}

}  // namespace orvik::impls
