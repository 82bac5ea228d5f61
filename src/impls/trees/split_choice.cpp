#include "impls/trees/split_choice.h"

#include <bit>
#include <optional>
#include <stdexcept>

namespace orvik::impls {

namespace {

constexpr char k_unknown_type[] = "[decision_node::split()]: unknown split type.";

constexpr double k_no_average = 1000000.0;
constexpr double k_least_split_info = 0.001;
constexpr double k_gain_tolerance = 0.001;

using splitting_desc = column::splitting_desc;

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

}  // namespace

void require_known(model::split_type type) {
  if (type >= model::N_SPLIT_TYPES) throw std::runtime_error(k_unknown_type);
}

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

double threshold_of(const column& tested, const column::splitting_desc& desc) {
  if (tested.type() != column::CONTINUOUS) return 0.0;
  return static_cast<double>(tested.values()->find_mid(desc.left_code, desc.right_code));
}

}  // namespace orvik::impls
