// The choice of a node's test: measure the candidates, compare them under the split type.
#include <bit>
#include <cmath>
#include <optional>
#include <stdexcept>
#include <vector>

#include "impls/trees/decision_node.h"
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
constexpr double k_no_average = 1000000.0;
constexpr double k_least_split_info = 0.001;
constexpr double k_gain_tolerance = 0.001;

using splitting_desc = column::splitting_desc;

struct candidate {
  unsigned int attribute;
  splitting_desc desc;
};

bool can_split(const splitting_desc& desc) { return desc.gain > column::k_no_gain; }

double average_gain(const std::vector<candidate>& candidates) {
  double sum = 0;
  unsigned long n = 0;
  for (const candidate& c : candidates) {
    if (!can_split(c.desc)) continue;
    sum += c.desc.gain;
    ++n;
  }
  return n == 0 ? k_no_average : sum / static_cast<double>(n);
}

/// What the candidate is compared by; nothing where the split type passes it over.
std::optional<double> value_of(const splitting_desc& desc, model::split_type type, double average) {
  switch (type) {
    case model::INFORMATION_GAIN:
      if (desc.split_info <= 0) return std::nullopt;
      return desc.gain;
    case model::PURE_GAIN_RATIO:
      break;
    case model::GAIN_RATIO:
      if (desc.gain < average - k_gain_tolerance) return std::nullopt;
      break;
    default:
      return std::nullopt;
  }
  if (!(desc.split_info > k_least_split_info)) return std::nullopt;
  return desc.gain / desc.split_info;
}

/// The candidate of the greatest value, the first of equals; null if none passes.
const candidate* best_of(const std::vector<candidate>& candidates, model::split_type type) {
  const double average = average_gain(candidates);
  const candidate* best = nullptr;
  double best_value = column::k_no_gain;
  for (const candidate& c : candidates) {
    if (!can_split(c.desc)) continue;
    const std::optional<double> value = value_of(c.desc, type, average);
    if (!value || !(*value > best_value)) continue;
    best = &c;
    best_value = *value;
  }
  return best;
}

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
  if (weight_ == 0 || distribution_[leaf_class_] == weight_ || 2 * min_weight > weight_) return;

  std::vector<candidate> candidates;
  for (unsigned int a = 0; a < t.n_attributes(); ++a) {
    if (usable != nullptr && !(*usable)[a]) continue;
    if (ranges_[a].second - ranges_[a].first > 1) candidates.push_back({a, {}});
  }
  if (draw != nullptr) keep_random(candidates, k, *draw);

  const bool copy = n_cases_ >= k_parallel_cases && draw == nullptr;
  const auto measure = [&](unsigned long i) {
    candidate& c = candidates[i];
    t.column_of(c.attribute)
        .quality_measure(t.class_column(), weight_, *cases_, ranges_[c.attribute], min_weight,
                         c.desc, copy);
  };
  if (copy && n_cases_ * candidates.size() >= k_parallel_cells) {
    zel::util::parallel::for_each_index(candidates.size(), measure);
  } else {
    for (unsigned long i = 0; i < candidates.size(); ++i) measure(i);
  }

  const candidate* best = best_of(candidates, type);
  if (best == nullptr) return;
  const column& tested = t.column_of(best->attribute);
  const bool continuous = tested.type() == column::CONTINUOUS;
  set_test(best->attribute, continuous ? static_cast<double>(tested.values()->find_mid(
                                             best->desc.left_code, best->desc.right_code))
                                       : 0.0);
}

}  // namespace orvik::impls
