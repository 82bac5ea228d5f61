// The choice of a node's test: measure the candidates, compare them under the split type.
#include <cassert>
#include <stdexcept>
#include <vector>

#include "impls/splitting/column_measure.h"
#include "impls/splitting/split_choice.h"
#include "impls/trees/decision_node.h"
#include "zel/util/run_context.h"

namespace orvik::impls {

namespace {

constexpr char k_not_activated[] = "[decision_node::split] called on an unactivated node.";

/// Cells below which handing a measurement to another thread costs more than it saves.
constexpr unsigned long k_parallel_cells = 20000;

}  // namespace

void decision_node::split(const table& t, model::split_type type, double min_weight,
                          const zel::adt::bitmap* usable, unsigned long k, bool forest) {
  if (!forest || k == 0) return split(t, type, min_weight, usable, k, nullptr);
  zel::util::rand_gen draw(k, zel::util::draw::attributes);
  split(t, type, min_weight, usable, k, &draw);
}

void decision_node::split(const table& t, model::split_type type, double min_weight,
                          const zel::adt::bitmap* usable, unsigned long k,
                          zel::util::rand_gen* draw, zel::util::run_context& run) {
  if (!activated_) throw std::runtime_error(k_not_activated);
  require_known(type);
  set_as_leaf();
  if (stays_leaf(min_weight)) return;

  std::vector<candidate> candidates;
  for (unsigned int a = 0; a < t.n_attributes(); ++a) {
    if (usable != nullptr && !(*usable)[a]) continue;
    if (ranges_[a].second - ranges_[a].first > 1) candidates.push_back({a, {}});
  }
  if (draw != nullptr) keep_random(candidates, k, *draw);

  const bool copy = n_cases_ >= k_copied_cases && draw == nullptr;
  const auto measure = [&](unsigned long i) {
    measure_candidate(t, type, min_weight, candidates[i], copy);
  };
  if (copy && n_cases_ * candidates.size() >= k_parallel_cells) {
    run.for_each_index(candidates.size(), measure);
  } else {
    for (unsigned long i = 0; i < candidates.size(); ++i) measure(i);
  }

  const candidate* best = best_of(candidates, type);
  if (best != nullptr) set_test(t, *best);
}

void decision_node::measure_candidate(const table& t, model::split_type type, double min_weight,
                                      candidate& c, bool copy) {
  assert(activated_);
  c.desc = splitting::measure_column(
      t.column_of(c.attribute),
      {t.class_column(), weight_, *cases_, ranges_[c.attribute], min_weight, copy}, type);
}

void decision_node::set_test(const table& t, const candidate& chosen) {
  set_test({chosen.attribute, threshold_of(t.column_of(chosen.attribute), chosen.desc)});
}

}  // namespace orvik::impls
