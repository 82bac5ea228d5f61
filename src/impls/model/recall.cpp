// The draws of an ensemble that was read from a file.
//
// A model file holds no draws and no seeds, but both follow from the run seed. What the roots of
// the trees know of their cases tells whether they are the right ones: another seed or another
// table gives other class weights in one tree or another.
#include <cmath>

#include "impls/model/bootstrap.h"
#include "impls/model/dtree.h"
#include "impls/pruning/strategies.h"
#include "impls/tables/folds.h"
#include "impls/tables/same_codes.h"
#include "zel/util/run_context.h"

namespace orvik::impls {

namespace {

constexpr double k_rounding = 1e-9;  // relative; sums of the same weights in another order

/// Whether a root that saw these draws has the class weights that `root` has.
bool drew(const table& t, const training_cases& cases, const case_draws& draws, unsigned long seed,
          const decision_node& root) {
  std::vector<double> weights(t.n_class_codes());
  draws.for_each(seed, [&](unsigned long position) {
    const auto [row, weight] = cases[position];
    weights[t.class_column().get_row_index(row)] += weight;
  });
  for (code_t c = 0; c < weights.size(); ++c) {
    if (std::abs(weights[c] - root.class_weight(c)) > k_rounding * root.weight()) return false;
  }
  return true;
}

}  // namespace

bool dtree::recall_draws(const table& t) {
  using zel::util::draw;
  if (!trees_.draws_cases() || trees_.empty() || t.n_rows() == 0 || !have_equal_codes(*table_, t))
    return false;
  const std::unique_ptr<case_list> all(t.get_all());
  case_parts split;
  if (pruning::needs_separate_cases(parameters_.pruning))
    split = split_by_class(t, *all, run_->seeds());
  training_cases cases(split.first ? *split.first : *all);
  const unsigned long build_seed = run_->seeds().next(draw::bootstrap);
  std::vector<unsigned long> seeds;
  const case_draws draws(parameters_.draws, t, cases);
  for (unsigned long i = 0; i < trees_.n_trees(); ++i) {
    seeds.push_back(run_->seeds().at(draw::bootstrap, {build_seed, i}));
    if (!drew(t, cases, draws, seeds.back(), *trees_.tree(i, /*complete=*/false)->get_node()))
      return false;
  }
  cases_ = std::move(cases);
  for (unsigned long i = 0; i < seeds.size(); ++i) trees_.set_seed(i, seeds[i]);
  return true;
}

}  // namespace orvik::impls
