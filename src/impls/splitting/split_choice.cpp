#include "impls/splitting/split_choice.h"

#include <algorithm>
#include <bit>
#include <limits>
#include <stdexcept>

namespace orvik::impls {

namespace {

constexpr char k_unknown_type[] = "[decision_node::split()]: unknown split type.";

}  // namespace

void require_known(model::split_type type) {
  if (type >= model::N_SPLIT_TYPES) throw std::runtime_error(k_unknown_type);
}

const candidate* best_of(const std::vector<candidate>& candidates, model::split_type type) {
  return split_choice::best_of(std::span<const candidate>(candidates), type,
                               [](unsigned int) { return true; });
}

bool is_valid(const column::splitting_desc& desc, model::split_type type) {
  constexpr double k_no_mean = -std::numeric_limits<double>::infinity();
  return split_choice::can_split(desc) && splitting::ranking_of(type).value_of(desc, k_no_mean);
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

split_test test_of(const column& tested, const candidate& chosen) {
  const auto& [attribute, desc] = chosen;
  if (tested.type() != column::CONTINUOUS) {
    return desc.left_code == k_unknown ? split_test{attribute}
                                       : split_test::one_value(attribute, desc.left_code);
  }
  const code_t middle = tested.values()->find_mid(desc.left_code, desc.right_code);
  // The cases above the cut stay above it whatever the values are: growing always ends.
  return split_test::cut_at(attribute, std::min(middle, desc.right_code - 1));
}

}  // namespace orvik::impls
