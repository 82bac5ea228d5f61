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
  const split_rules rules{type, min_weight, usable, k};
  if (!forest || k == 0) return split(t, rules, nullptr);
  zel::util::rand_gen draw(k, zel::util::draw::attributes);
  split(t, rules, &draw);
}

void decision_node::split(const table& t, const split_rules& rules, zel::util::rand_gen* in_order,
                          unsigned long seed, zel::util::run_context& run) {
  if (!activated_) throw std::runtime_error(k_not_activated);
  require_known(rules.type);
  set_as_leaf();
  if (stays_leaf(rules.min_weight)) return;

  std::vector<candidate> candidates;
  for (unsigned int a = 0; a < t.n_attributes(); ++a) {
    if (rules.usable != nullptr && !(*rules.usable)[a]) continue;
    if (ranges_[a].second - ranges_[a].first > 1) candidates.push_back({a, {}});
  }
  measure(t, rules, in_order, seed, candidates, run);
  const candidate* best = best_of(candidates, rules.type);
  if (best != nullptr) set_test(t, *best);
}

/// One after the other on their own list, or side by side on copies.
void decision_node::measure(const table& t, const split_rules& rules, zel::util::rand_gen* in_order,
                            unsigned long seed, std::vector<candidate>& candidates,
                            zel::util::run_context& run) {
  const bool draws = rules.how.draws();
  const bool copy = draws || (n_cases_ >= k_copied_cases && in_order == nullptr);
  zel::util::quick_gen draw(seed);
  const auto measure = [&](candidate& c) { measure_candidate(t, rules, c, copy, &draw); };
  if (rules.how.attributes.draws()) {
    const unsigned long wanted = rules.how.attributes.of(rules.n_usable);
    return measure_drawn(candidates, wanted, rules.type, draw, measure);
  }
  if (in_order != nullptr) keep_random(candidates, rules.n_usable, *in_order);
  if (copy && !draws && n_cases_ * candidates.size() >= k_parallel_cells) {
    run.for_each_index(candidates.size(), [&](unsigned long i) { measure(candidates[i]); });
  } else {
    for (candidate& c : candidates) measure(c);
  }
}

void decision_node::measure_candidate(const table& t, const split_rules& rules, candidate& c,
                                      bool copy, zel::util::quick_gen* draw) {
  assert(activated_);
  c.desc = splitting::measure_column(t.column_of(c.attribute),
                                     {t.class_column(), weight_, *cases_, ranges_[c.attribute],
                                      rules.min_weight, copy, &rules.how, draw},
                                     rules.type);
}

void decision_node::set_test(const table& t, const candidate& chosen) {
  set_test(test_of(t.column_of(chosen.attribute), chosen));
}

}  // namespace orvik::impls
