// Error-based pruning (Quinlan, C4.5: Programs for Machine Learning, 1993, chapter 4): the errors
// of a leaf are estimated by the upper confidence bound of a binomial with its training errors.
// Where errors have costs, a leaf costs what its training errors do, and the errors that the bound
// adds cost what the errors of its class do in the mean over the whole tree.
#include <array>
#include <cmath>
#include <stdexcept>

#include "impls/pruning/estimation.h"
#include "impls/pruning/strategies.h"
#include "impls/trees/decision_tree.h"
#include "zel/adt/tree_walk.h"

namespace orvik::impls {

namespace {

constexpr char k_confidence_range[] = "Confidence level required in (0.00, 1.00]";

/// Normal deviates of one-sided confidence levels.
struct deviate {
  double level;
  double deviation;
};
constexpr std::array<deviate, 9> CF_Dev = {{{0, 4.0},
                                            {0.001, 3.09},
                                            {0.005, 2.58},
                                            {0.01, 2.33},
                                            {0.05, 1.65},
                                            {0.1, 1.28},
                                            {0.2, 0.84},
                                            {0.4, 0.25},
                                            {1.0, 0.0}}};

/// A subtree must be better than a leaf by more than this many errors.
constexpr double k_least_saving = 0.1;

/// Bound for no errors among n cases: (1 - p)^n = cf.
double errors_of_none(double cf, double n) { return n * (1 - std::exp(std::log(cf) / n)); }

/// Errors of a leaf of n cases, e of them training errors.
double estimate(double cf, double coeff, double n, double e) {
  return e + decision_tree::add_errs(cf, coeff, n, e);
}

/// At their price.
double estimate(double cf, double coeff, const pricing& price, std::span<const double> by_code,
                double weight, code_t majority) {
  const code_t predicted = price.class_of(by_code, majority);
  const double added = decision_tree::add_errs(cf, coeff, weight, weight - by_code[predicted]);
  return price.of_leaf(by_code, weight, majority) + added * price.of_error(predicted);
}

double estimate(double cf, double coeff, const pricing& price, const decision_node& node) {
  if (price.costs() == nullptr) {
    return estimate(cf, coeff, node.weight(), node.get_estimated_error_if_leaf());
  }
  return estimate(cf, coeff, price, {node.class_weights(), price.n_codes()}, node.weight(),
                  node.majority_class());
}

struct ebp : pruning::visitor {
  static constexpr pruning::tie tie_rule = pruning::tie::smaller_subtree;
  const table& t;
  double cf;
  double coeff;
  const pricing& price;

  double as_leaf(const decision_tree& tree, const state&) const {
    return estimate(cf, coeff, price, *tree.get_node());
  }
  double as_child(const decision_tree& child, const state&, double limit) const {
    return child.prune_ebp_est(t, cf, coeff, limit, price);
  }
  static double limit(double, double subtree) { return subtree + k_least_saving; }
  static pruning::fate decide(double leaf, double subtree, double child) {
    if (child + k_least_saving >= leaf && subtree + k_least_saving >= leaf) {
      return pruning::fate::leaf;
    }
    return subtree + k_least_saving >= child ? pruning::fate::raise : pruning::fate::keep;
  }
};

}  // namespace

double decision_tree::CFCoefficient(double cf) {
  if (!(cf > 0 && cf <= 1)) throw std::runtime_error(k_confidence_range);
  std::size_t i = 1;
  while (cf > CF_Dev[i].level) ++i;
  const auto [lo, lo_deviation] = CF_Dev[i - 1];
  const auto [hi, hi_deviation] = CF_Dev[i];
  const double d = lo_deviation + (cf - lo) * (hi_deviation - lo_deviation) / (hi - lo);
  return d * d;
}

double decision_tree::add_errs(double cf, double coeff, double n, double e) {
  if (e < 1e-6) return n == 0 ? 0.0 : errors_of_none(cf, n);
  if (e < 0.9999) {
    const double base = errors_of_none(cf, n);
    return base + e * (add_errs(cf, coeff, n, 1.0) - base);
  }
  if (e + 0.5 >= n) return 0.67 * (n - e);
  const double f = e + 0.5;
  const double p = (f + coeff / 2 + std::sqrt(coeff * (f * (1 - f / n) + coeff / 4))) / (n + coeff);
  return n * p - e;
}

double decision_tree::prune_dt(const table& t, double cf, double coeff, zel::util::run_context& run,
                               const pricing& price) {
  return prune_ebp(t, cf, coeff, /*graft=*/false, /*all=*/false, run, price);
}

double decision_tree::prune_ebp(const table& t, double cf, double coeff, bool graft, bool all,
                                zel::util::run_context& run, const pricing& price) {
  return pruning::prune_bottom_up(*this, t, pruning::raising_of(graft, all),
                                  ebp{{}, t, cf, coeff, price}, run);
}

double decision_tree::prune_ebp_est(const table& t, double cf, double coeff, double limit,
                                    const pricing& price) const {
  return pruning::sum_over_leaves(
      *this, t, *get_node()->father()->cases(), limit, [&](const pruning::reached& r) {
        return price.costs() == nullptr
                   ? estimate(cf, coeff, r.weight, r.leaf_error())
                   : estimate(cf, coeff, price, r.distribution, r.weight, r.majority);
      });
}

double decision_tree::set_estimated_error_ebp(double cf, double coeff, const pricing& price) {
  zel::adt::walk(
      *this, [](const decision_tree&, unsigned long) { return true; },
      [cf, coeff, &price](decision_tree& tree, unsigned long) {
        decision_node& node = *tree.get_node();
        node.set_estimated_error(tree.get_no_childs() > 0 ? tree.errors_of_children()
                                                          : estimate(cf, coeff, price, node));
      });
  return get_node()->estimated_error();
}

void pruning::prune_by_ebp(decision_tree& tree, const material& with, raising how) {
  const double cf = with.confidence, coeff = decision_tree::CFCoefficient(cf);
  if (how == raising::none) {
    tree.prune_dt(with.t, cf, coeff, with.run, with.price);
    return;
  }
  tree.prune_ebp(with.t, cf, coeff, true, how == raising::best_child, with.run, with.price);
  tree.set_estimated_error_ebp(cf, coeff, with.price);
}

}  // namespace orvik::impls
