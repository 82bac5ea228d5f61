// The choice of a node's test: measure the candidates, compare them under the split type.
#include <bit>
#include <stdexcept>
#include <vector>

#include "impls/trees/decision_node.h"
#include "impls/trees/split_choice.h"
#include "zel/util/parallel.h"
#include "zel/util/rand_gen.h"

namespace orvik::impls {

namespace {

constexpr char k_not_activated[] = "[decision_node::split] called on an unactivated node.";
constexpr char k_unknown_type[] = "[decision_node::split()]: unknown split type.";

/// Shorter case lists are measured in place: each sort leaves them in the order of the last one.
constexpr unsigned long k_parallel_cases = 50;
/// Cells below which handing a measurement to another thread costs more than it saves.
constexpr unsigned long k_parallel_cells = 20000;

/// Keeps floor(log2 k) + 1 of the candidates, drawn in order from k.
void keep_random(std::vector<candidate>& candidates, unsigned long k, zel::util::rand_gen& draw) {
  unsigned long to_pick = std::bit_width(k);
  unsigned long remaining = k;
  std::erase_if(candidates, [&](const candidate&) {
    --remaining;
    if (draw.below(remaining + 1) >= to_pick) return true;
    --to_pick;
    return false;
  });
}

}  // namespace

void decision_node::split(const table& t, model::split_type type, double min_weight,
                          const zel::adt::bitmap* usable, unsigned long k, bool forest) {
  if (!forest || k == 0) return split(t, type, min_weight, usable, k, nullptr);
  zel::util::rand_gen draw(k, zel::util::draw::attributes);
  split(t, type, min_weight, usable, k, &draw);
}

void decision_node::split(const table& t, model::split_type type, double min_weight,
                          const zel::adt::bitmap* usable, unsigned long k,
                          zel::util::rand_gen* draw) {
  if (!activated_) throw std::runtime_error(k_not_activated);
  if (type >= model::N_SPLIT_TYPES) throw std::runtime_error(k_unknown_type);
  set_as_leaf();
  if (!may_split(min_weight)) return;

  std::vector<candidate> candidates;
  for (unsigned int a = 0; a < t.n_attributes(); ++a) {
    if (usable != nullptr && !(*usable)[a]) continue;
    if (ranges_[a].second - ranges_[a].first > 1) candidates.push_back({a, {}});
  }
  if (draw != nullptr) keep_random(candidates, k, *draw);

  const bool copy = n_cases_ >= k_parallel_cases && draw == nullptr;
  const auto measure = [&](unsigned long i) {
    measure_candidate(t, min_weight, candidates[i], copy);
  };
  if (copy && n_cases_ * candidates.size() >= k_parallel_cells) {
    zel::util::parallel::for_each_index(candidates.size(), measure);
  } else {
    for (unsigned long i = 0; i < candidates.size(); ++i) measure(i);
  }

  const candidate* best =
      split_choice::best_of(candidates, type, [](unsigned int) { return true; });
  if (best != nullptr) set_test(t, *best);
}

bool decision_node::may_split(double min_weight) const {
  return weight_ != 0 && distribution_[leaf_class_] != weight_ && !(2 * min_weight > weight_);
}

void decision_node::measure_candidate(const table& t, double min_weight, candidate& c, bool copy) {
  t.column_of(c.attribute)
      .quality_measure(t.class_column(), weight_, *cases_, ranges_[c.attribute], min_weight, c.desc,
                       copy);
}

void decision_node::set_test(const table& t, const candidate& chosen) {
  const column& tested = t.column_of(chosen.attribute);
  const bool continuous = tested.type() == column::CONTINUOUS;
  set_test(chosen.attribute, continuous ? static_cast<double>(tested.values()->find_mid(
                                              chosen.desc.left_code, chosen.desc.right_code))
                                        : 0.0);
}

}  // namespace orvik::impls
