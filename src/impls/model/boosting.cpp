// Boosting by case weights: AdaBoost.M1 (Freund and Schapire, Experiments with a new boosting
// algorithm, 1996), or SAMME (Zhu, Zou, Rosset and Hastie, Multi-class AdaBoost, 2009) where there
// are more than two classes and the first tree is wrong about half of the weight or more: M1 has no
// use for such trees. SAMME for all would give stronger ones far too much weight: with 24 classes
// each step multiplies the weight of an error by 23 more, and a few rare cases decide everything.
//
// The weights begin as those of the cases and always add up to the number of cases, so that the
// least weight of a branch keeps its meaning. e is the share of the weight that a tree, pruned as
// the model's strategy says, gets wrong. A tree has log((1 - e) / e) + log(K - 1) votes, where K is
// the number of classes among the cases, in M1 2; and the weight of the cases that it gets wrong is
// multiplied by the exponential of that before all are brought back to their sum.
// - A tree of no use, e >= 1 - 1/K, is left out.
// - A tree without errors would have votes without bound: it counts as if it got half a case wrong.
// - Both leave the weights as they are. Where nodes draw, the next tree is another one all the
// same;
//   else there is no next one.
// - Where all are left out, the first answers, as a single tree does.
#include <algorithm>
#include <cmath>
#include <numeric>

#include "impls/evaluation/flat_tree.h"
#include "impls/growing/growing_plan.h"
#include "impls/model/dtree.h"
#include "zel/util/blocks.h"
#include "zel/util/rand_gen.h"
#include "zel/util/run_context.h"

namespace orvik::impls {

namespace {

using zel::util::draw;

/// Makes the weights add up to the number of cases; without any weight they stay as they are.
void normalise(case_list& cases) {
  double sum = 0;
  for (const auto& [row, weight] : cases) sum += weight;
  if (!(sum > 0)) return;
  const double factor = static_cast<double>(cases.size()) / sum;
  if (factor == 1) return;
  for (auto& [row, weight] : cases) weight *= factor;
}

unsigned long n_classes_of(const table& t, const case_list& cases) {
  std::vector<double> weights(t.n_class_codes());
  sum_by_class(t.class_column(), {cases.begin(), cases.end()}, weights);
  return static_cast<unsigned long>(std::ranges::count_if(weights, [](double w) { return w > 0; }));
}

/// By case, whether the tree gets it wrong.
std::vector<unsigned char> errors_of(const table& t, const decision_tree& tree,
                                     const case_list& cases, const zel::util::run_context& run) {
  constexpr std::size_t k_at_once = 4096;
  const flat_tree flat(t, {&tree});
  std::vector<unsigned char> wrong(cases.size());
  const zel::util::blocks chunks(cases.size(), k_at_once);
  run.for_each_index(chunks.count(), [&](unsigned long chunk) {
    const std::size_t first = chunks[chunk].first, n = chunks[chunk].size;
    const auto some = std::span(cases.begin(), cases.end()).subspan(first, n);
    thread_local std::vector<std::uint32_t> codes;
    gather_codes(t, some, codes);
    flat.predict({codes, t.n_attributes()}, all_cases(n),
                 [&](std::size_t i, const decision_tree::prediction& found, double) {
                   wrong[first + i] = found.first != t.class_column().get_row_index(some[i].first);
                 });
  });
  return wrong;
}

double weight_of(const case_list& cases, const std::vector<unsigned char>& wrong) {
  double sum = 0;
  for (std::size_t i = 0; i < wrong.size(); ++i) {
    if (wrong[i] != 0) sum += cases[i].second;
  }
  return sum;
}

}  // namespace

void dtree::boost(const growing_plan& plan, const case_list* prune_cases) {
  const table& t = plan.t();
  case_list cases = cases_.expand();
  weigh(t, cases);
  normalise(cases);
  const auto n = static_cast<double>(cases.size());
  double k = 2;
  const unsigned long build_seed =
      parameters_.how.draws() ? run_->seeds().next(draw::bootstrap) : 0;
  std::unique_ptr<decision_tree> first_left_out;
  run_->with_workers([&] {
    for (unsigned long i = 0; i < parameters_.n_trees; ++i) {
      const unsigned long seed = run_->seeds().at(draw::bootstrap, {build_seed, i});
      std::unique_ptr<decision_tree> tree = grow_tree(plan, cases, seed);
      prune_tree(
          t, *tree, seed, [&] { return cases; }, prune_cases);
      run_->count(zel::util::progress::unit::trees);
      const std::vector<unsigned char> wrong = errors_of(t, *tree, cases, *run_);
      const double error = weight_of(cases, wrong) / n;
      if (i == 0 && error >= 0.5) k = static_cast<double>(std::max(2UL, n_classes_of(t, cases)));
      const bool hopeless = error >= 1 - 1 / k;
      const double shown =
          std::max(error, 0.5 / std::max(n, 2.0));  // of one row too there are votes
      const double votes = std::log((1 - shown) / shown) + std::log(k - 1);
      if (!hopeless) {
        trees_.add(t, std::move(tree), {seed, votes});
      } else if (!first_left_out) {
        first_left_out = std::move(tree);
      }
      if (hopeless || error == 0) {
        if (parameters_.how.draws()) continue;
        break;
      }
      const double factor = std::exp(votes);
      for (std::size_t c = 0; c < wrong.size(); ++c) {
        if (wrong[c] != 0) cases[c].second *= factor;
      }
      normalise(cases);
    }
  });
  if (trees_.empty()) trees_.add(t, std::move(first_left_out), {});
}

}  // namespace orvik::impls
