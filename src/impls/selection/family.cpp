#include "impls/selection/family.h"

#include <algorithm>

#include "impls/selection/stable_choice.h"

namespace orvik::impls::selection {

family::family(const subset_tree& tree, const setting& s, const subset_range& range)
    : least_(range.kept), fixed_by_(tree.places().size()) {
  attribute_set most = range.kept;
  most.or_op(range.open);
  for (std::size_t i = 0; i < fixed_by_.size(); ++i) {
    const subset_tree::place& p = tree.places()[i];
    if (p.node->closed) continue;
    keep_choice(p.node->tests, p.choice, s.type, most, least_, keys_);
    fixed_by_[i] = fixing_keys(p, s, most, range.kept);
  }
  attribute_set kept = range.kept, open = range.open;
  for (std::size_t i = 0; i < keys_.size(); ++i) {
    open.reset(keys_[i]);
    rest_.push_back({kept, open, std::max(range.bound, bound(tree, s, i))});
    kept.set(keys_[i]);
  }
}

/// How many of the first keys fix the choice at a place.
std::size_t family::fixing_keys(const subset_tree::place& p, const setting& s,
                                const attribute_set& most, const attribute_set& kept) const {
  if (!splitting::ranking_of(s.type).above_mean) {
    if (p.choice == nullptr) return 0;
    const auto key = std::ranges::find(keys_, p.choice->attribute);
    return key == keys_.end() ? 0 : static_cast<std::size_t>(key - keys_.begin()) + 1;
  }
  attribute_set least = kept;
  std::vector<unsigned int> needed;
  keep_choice(p.node->tests, p.choice, s.type, most, least, needed);
  std::size_t n = 0;
  for (const unsigned int a : needed) {
    const auto key = std::ranges::find(keys_, a);
    if (key == keys_.end()) return keys_.size();
    n = std::max(n, static_cast<std::size_t>(key - keys_.begin()) + 1);
  }
  return n;
}

/// Errors that no tree with the first keys can do without. Where the choice is fixed, a node
/// makes at least the errors of its children, or those of a leaf where pre-pruning may make one of
/// it; below a choice that is not fixed there may be none. Cases that were parted count nothing.
unsigned long family::bound(const subset_tree& tree, const setting& s, std::size_t n_keys) const {
  struct least_errors {
    unsigned long errors;
    bool exact;  // the subtree is fixed as a whole
  };
  const auto places = tree.places();
  std::vector<least_errors> least(places.size());
  for (std::size_t i = places.size(); i-- > 0;) {
    const subset_tree::place& p = places[i];
    const unsigned long as_leaf = p.node->leaf_errors;
    if (fixed_by_[i] > n_keys) {
      least[i] = {0, false};
      continue;
    }
    if (p.choice == nullptr) {
      least[i] = {as_leaf, true};
      continue;
    }
    least_errors sum{0, true};
    for (std::size_t c = p.first_child; c < p.first_child + p.n_children; ++c) {
      sum.errors += least[c].errors;
      sum.exact = sum.exact && least[c].exact;
    }
    if (s.preprune && (sum.exact ? tree.is_prepruned(i) : as_leaf < sum.errors)) {
      sum.errors = as_leaf;
    }
    least[i] = sum;
  }
  return least[0].errors;
}

}  // namespace orvik::impls::selection
