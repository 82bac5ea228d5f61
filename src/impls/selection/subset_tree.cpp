#include "impls/selection/subset_tree.h"

#include <cassert>
#include <unordered_map>

#include "impls/pruning/prepruning.h"
#include "impls/splitting/split_choice.h"
#include "impls/trees/distribution.h"

namespace orvik::impls::selection {

subset_tree::subset_tree(const search_node& root, const attribute_set& subset, const setting& s)
    : s_(s) {
  const members in_subset(subset);
  places_.push_back({&root, nullptr, 0, 0});
  for (std::size_t i = 0; i < places_.size(); ++i) {
    const search_node& node = *places_[i].node;
    has_parts_ = has_parts_ || !node.parts.empty();
    if (node.closed) continue;
    const candidate* choice =
        split_choice::best_of(std::span<const candidate>(node.tests), s.type, in_subset);
    if (choice == nullptr) continue;
    assert(node.split_on(choice->attribute) != nullptr);  // grown for the subset
    const node_split& split = *node.split_on(choice->attribute);
    places_[i] = {&node, choice, places_.size(), split.children.size()};
    for (const auto& child : split.children) places_.push_back({child.get(), nullptr, 0, 0});
  }
  prepruned_.assign(places_.size(), 0);
  if (s.preprune) preprune();
}

/// Bottom-up, on training errors, as grown trees are pre-pruned.
void subset_tree::preprune() {
  std::vector<double> errors(places_.size());
  for (std::size_t i = places_.size(); i-- > 0;) {
    const double leaf_error = places_[i].node->stats.price_if_leaf(s_.price) / s_.mean_price;
    errors[i] = leaf_error;
    if (places_[i].choice == nullptr) continue;
    double sum = 0;
    for (std::size_t c = 0; c < places_[i].n_children; ++c)
      sum += errors[places_[i].first_child + c];
    prepruned_[i] = pruning::is_prepruned(leaf_error, sum);
    if (prepruned_[i] == 0) errors[i] = sum;
  }
}

/// The attributes of the tests, level by level, say it all: each cut follows from the cases.
unsigned long subset_tree::shape() const {
  constexpr unsigned long k_odd = 0x9e3779b97f4a7c15;
  unsigned long hash = k_odd;
  for (const place& p : places_) {
    const unsigned long test = p.choice == nullptr ? 0 : p.choice->attribute + 1;
    hash = (hash ^ test) * k_odd;
    hash ^= hash >> 29;
  }
  return hash;
}

unsigned long subset_tree::errors(const search_cases& cases, unsigned long& visits) const {
  return errors_of_whole() + (has_parts_ ? errors_of_parts(cases, visits) : 0);
}

unsigned long subset_tree::errors_of_whole() const {
  std::vector<unsigned long> errors(places_.size());
  for (std::size_t i = places_.size(); i-- > 0;) {
    const place& p = places_[i];
    if (p.choice == nullptr || is_prepruned(i)) {
      errors[i] = p.node->leaf_errors;
      continue;
    }
    for (std::size_t c = 0; c < p.n_children; ++c) errors[i] += errors[p.first_child + c];
  }
  return errors[0];
}

/// A case that was parted has the class of the greatest weight over all leaves that it reached,
/// added from left to right.
unsigned long subset_tree::errors_of_parts(const search_cases& cases, unsigned long& visits) const {
  const std::size_t n_codes = s_.t.n_class_codes();
  std::unordered_map<unsigned long, std::size_t> slots;  // of the cases
  std::vector<unsigned long> parted;                     // by slot
  std::vector<double> sums;                              // by slot, then by class code
  const auto add_leaf = [&](const search_node& leaf) {
    visits += leaf.parts.size();
    for (const part& p : leaf.parts) {
      const auto [slot, is_new] = slots.try_emplace(p.at, parted.size());
      if (is_new) {
        parted.push_back(p.at);
        sums.resize(sums.size() + n_codes);
      }
      leaf.stats.add_shares(p.share, {&sums[slot->second * n_codes], n_codes});
    }
  };

  std::vector<std::size_t> open{0};
  while (!open.empty()) {
    const std::size_t i = open.back();
    open.pop_back();
    const place& p = places_[i];
    if (p.choice == nullptr || is_prepruned(i)) {
      add_leaf(*p.node);
      continue;
    }
    for (std::size_t c = p.n_children; c-- > 0;) open.push_back(p.first_child + c);
  }

  unsigned long errors = 0;
  for (std::size_t slot = 0; slot < parted.size(); ++slot) {
    const std::span<const double> sum(&sums[slot * n_codes], n_codes);
    errors += cases.units(parted[slot], s_.price.class_of(sum, distribution(sum).decide()));
  }
  return errors;
}

}  // namespace orvik::impls::selection
