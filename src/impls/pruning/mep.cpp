// Minimum-error pruning (Cestnik and Bratko, On estimating probabilities in tree pruning, 1991):
// the error of a leaf is that of the m-estimate of its class probabilities, which leans on the
// class distribution of the whole tree the more, the larger m. Bottom up, for several m; the tree
// of the fewest errors on the pruning cases is kept.
#include <algorithm>
#include <array>
#include <mutex>
#include <tuple>

#include "impls/pruning/estimation.h"
#include "impls/pruning/strategies.h"
#include "zel/util/run_context.h"

namespace orvik::impls {

namespace {

constexpr std::array<double, 13> k_m = {0.5, 1, 2, 3, 4, 8, 12, 16, 32, 64, 128, 512, 1024};
constexpr double k_no_classes = std::numeric_limits<double>::max();

using pruning::fate;

/// Error rate of the class with the best m-estimate, among codes 1 and up.
double m_estimate(std::span<const double> distribution, double weight, const decision_node& prior,
                  double m) {
  double least = k_no_classes;
  for (code_t c = 1; c < distribution.size(); ++c) {
    const double share = prior.class_weight(c) / prior.weight();
    const double rate = (weight - distribution[c] + m * (1 - share)) / (weight + m);
    if (rate < least) least = rate;
  }
  return least;
}

/// The least mean cost by these estimates.
double m_estimate(std::span<const double> distribution, double weight, const decision_node& prior,
                  double m, const pricing& price) {
  if (price.costs() == nullptr) return m_estimate(distribution, weight, prior, m);
  std::vector<double> leaning(distribution.begin(), distribution.end());
  for (code_t c = 0; c < leaning.size(); ++c) {
    leaning[c] += m * (prior.class_weight(c) / prior.weight());
  }
  return price.of_leaf(leaning, weight + m, k_unknown) / (weight + m);
}

struct mep : pruning::visitor {
  static constexpr pruning::tie tie_rule = pruning::tie::later_child;
  const table& t;
  const decision_node& prior;
  double m;
  const pricing& price;

  double as_leaf(const decision_tree& tree, const state&) const {
    const decision_node& node = *tree.get_node();
    return node.weight() * node.EER(t.n_class_codes(), prior, m, price);
  }
  double as_child(const decision_tree& child, const state&, double limit) const {
    return child.prune_mep_est(t, prior, m, limit, price);
  }
  static double limit(double leaf, double subtree) { return std::min(leaf, subtree); }
  static fate decide(double leaf, double subtree, double child) {
    if (leaf > child && subtree >= child) return fate::raise;
    return subtree >= leaf ? fate::leaf : fate::keep;
  }
};

/// The best tree so far. The order in which trees are offered does not matter.
class best_clone {
 public:
  void offer(std::unique_ptr<decision_tree> clone, double error, unsigned long index) {
    // Without pruning cases no tree is better than another.
    const rank offered{std::isnan(error) ? 0.0 : error, clone->size(), index};
    const std::lock_guard lock(mutex_);
    if (clone_ && rank_ <= offered) return;
    rank_ = offered;
    clone_.swap(clone);
  }
  std::unique_ptr<decision_tree> take() { return std::move(clone_); }

 private:
  using rank = std::tuple<double, unsigned long, unsigned long>;  // error, size, position of m

  std::mutex mutex_;
  std::unique_ptr<decision_tree> clone_;
  rank rank_;
};

}  // namespace

double decision_node::EER(unsigned long nclasses, const decision_node& prior, double m,
                          const pricing& price) const {
  return m_estimate({distribution_.get(), nclasses}, weight_, prior, m, price);
}

double decision_tree::prune_mep(const table& t, const decision_node& prior, double m, bool graft,
                                bool all, zel::util::run_context& run, const pricing& price) {
  return pruning::prune_bottom_up(*this, t, pruning::raising_of(graft, all),
                                  mep{{}, t, prior, m, price}, run);
}

double decision_tree::prune_mep_est(const table& t, const decision_node& prior, double m,
                                    double limit, const pricing& price) const {
  return pruning::sum_over_leaves(
      *this, t, *get_node()->father()->cases(), limit, [&](const pruning::reached& r) {
        return r.weight * m_estimate(r.distribution, r.weight, prior, m, price);
      });
}

void decision_tree::prune_mep(const table& t, const case_list& cases, bool graft, bool all,
                              zel::util::run_context& run, const pricing& price) {
  const decision_node& prior = *get_node();
  if (graft) pruning::require_cases(prior);
  best_clone best;
  run.for_each_index(k_m.size(), [&](unsigned long i) {
    std::unique_ptr<decision_tree> pruned(clone(t, nullptr));
    case_list own;
    if (graft) {
      own = *prior.cases();
      pruned->get_node()->set_cases(&own);
    }
    pruned->prune_mep(t, prior, k_m[i], graft, all, run, price);
    const double error = pruned->err_misc(t, cases, run, price);
    best.offer(std::move(pruned), error, i);
  });
  delete_childs();
  set_capacity(1);
  push_back_child(best.take().release());  // owned by this tree
  replace_with_son(0);
}

void pruning::prune_by_mep(decision_tree& tree, const material& with, raising how) {
  tree.prune_mep(with.t, *with.cases, how != raising::none, how == raising::best_child, with.run,
                 with.price);
  tree.set_estimated_error_from_leaf_error(with.price);
}

}  // namespace orvik::impls
