// Reduced-error pruning (Quinlan, Simplifying decision trees, 1987): a subtree stays while it
// makes fewer errors than a leaf on cases that the tree was not grown on. Bottom up.
#include <algorithm>
#include <memory>

#include "impls/pruning/estimation.h"
#include "impls/pruning/strategies.h"

namespace orvik::impls {

namespace {

using pruning::fate;

/// What cases cost that are predicted as a class.
double price_of(const pricing& price, const column& class_column,
                std::span<const case_list::value_type> cases, class_t predicted) {
  if (price.costs() == nullptr) return weight_of_others(class_column, cases, predicted);
  double sum = 0;
  for (const auto& [row, weight] : cases) {
    sum += weight * price.costs()->cost(predicted, class_column.get_row_index(row));
  }
  return sum;
}

struct rep : pruning::visitor {
  static constexpr pruning::tie tie_rule = pruning::tie::smaller_subtree;
  const table& t;
  const case_list& cases;
  const pricing& price;

  /// The pruning cases that reach an open node.
  struct state {
    const case_list* cases = nullptr;
    std::unique_ptr<const case_list> own;  // below the root
  };

  bool enter(const decision_tree& tree, state& here, const state* father) const {
    if (father != nullptr) {
      here.own.reset(tree.get_node()->select(t, father->cases, /*with_unknown=*/true));
    }
    here.cases = father == nullptr ? &cases : here.own.get();
    return true;
  }
  double as_leaf(const decision_tree& tree, const state& here) const {
    return price_of(price, t.class_column(), {here.cases->begin(), here.cases->end()},
                    tree.get_node()->priced_class(price));
  }
  double as_child(const decision_tree& child, const state& here, double limit) const {
    return child.prune_rep_est(t, *here.cases, limit, price);
  }
  static double limit(double leaf, double subtree) { return std::min(leaf, subtree); }
  static fate decide(double leaf, double subtree, double child) {
    if (leaf > child && subtree >= child) return fate::raise;
    return subtree >= leaf ? fate::leaf : fate::keep;
  }
};

/// The errors of a subtree on pruning cases, its classes being those of the training cases.
struct subtree_errors {
  const table& t;
  pruning::training_cases training;
  case_stack pruning_cases;
  class_t above;                  // class of the father of the subtree
  std::vector<class_t> majority;  // by level, class of nodes above a leaf
  const pricing& price;

  pruning::opinion ask(const decision_tree& tree, unsigned long level) {
    const std::span<const weighted_row> here = pruning_cases.top();
    if (here.empty()) return {0.0, false};
    majority.resize(level + 1);
    if (tree.get_no_childs() > 0) {
      if (has_leaf(tree)) majority[level] = class_of(training.sum_up());
      return {0.0, true};
    }
    const pruning::reached r = training.sum_up();
    const class_t fathers = level == 0 ? above : majority[level - 1];
    return {price_of(price, t.class_column(), here, r.weight > 0 ? class_of(r) : fathers), false};
  }
  class_t class_of(const pruning::reached& r) const {
    return static_cast<class_t>(price.class_of(r.distribution, r.majority));
  }
  void split(const decision_tree& tree) {
    const split_test& test = tree.get_node()->test();
    pruning_cases.split(t.column_of(test.attribute), test, tree.get_no_childs(),
                        /*total=*/0, training.split(tree));
  }
  void pop() {
    training.pop();
    pruning_cases.pop();
  }
  static bool has_leaf(const decision_tree& tree) {
    for (unsigned int i = 0; i < tree.get_no_childs(); ++i) {
      if (tree.get_child(i)->get_no_childs() == 0) return true;
    }
    return false;
  }
};

}  // namespace

double decision_tree::prune_rep(const table& t, const case_list& cases, bool graft, bool all,
                                zel::util::run_context& run, const pricing& price) {
  return pruning::prune_bottom_up(*this, t, pruning::raising_of(graft, all),
                                  rep{{}, t, cases, price}, run);
}

double decision_tree::prune_rep_est(const table& t, const case_list& cases, double limit,
                                    const pricing& price) const {
  const decision_node& father = *get_node()->father();
  subtree_errors on{t,
                    pruning::training_cases(t, *father.cases()),
                    case_stack(cases),
                    price.costs() == nullptr ? father.majority_class() : father.priced_class(price),
                    {},
                    price};
  return pruning::errors_of_subtree(*this, limit, on);
}

void pruning::prune_by_rep(decision_tree& tree, const material& with, raising how) {
  tree.prune_rep(with.t, *with.cases, how != raising::none, how == raising::best_child, with.run,
                 with.price);
  tree.set_estimated_error_from_leaf_error(with.price);
}

}  // namespace orvik::impls
