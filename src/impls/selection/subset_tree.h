// T(S) for one subset, read off the search tree.
#pragma once

#include <span>
#include <vector>

#include "impls/selection/search_tree.h"

namespace orvik::impls::selection {

/// The nodes of T(S) level by level, children side by side. What it is read from must stay.
/// Threads: many readers.
class subset_tree {
 public:
  struct place {
    const search_node* node;
    const candidate* choice;  // null: a leaf
    std::size_t first_child;  // of `n_children` places
    std::size_t n_children;
  };

  /// `root` has been grown for `subset`.
  subset_tree(const search_node& root, const attribute_set& subset, const setting& s);

  std::span<const place> places() const { return places_; }
  /// Whether pre-pruning makes a leaf of the place.
  bool is_prepruned(std::size_t i) const { return prepruned_[i] != 0; }
  /// A number that tells trees apart: equal for equal trees, and else hardly ever.
  unsigned long shape() const;
  /// Units of the search cases that the tree gets wrong; `visits` grows by the parts of cases
  /// that were looked at.
  unsigned long errors(const search_cases& cases, unsigned long& visits) const;

 private:
  void preprune();
  unsigned long errors_of_whole() const;
  unsigned long errors_of_parts(const search_cases& cases, unsigned long& visits) const;

  const setting& s_;
  std::vector<place> places_;
  std::vector<char> prepruned_;
  bool has_parts_ = false;
};

}  // namespace orvik::impls::selection
