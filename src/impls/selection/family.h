// All subsets between two: what their trees have in common, and how few errors they can make.
//
// A family holds the subsets S with kept <= S <= kept + open. The tree of the largest one is
// grown. Its key attributes, a1 .. ak of `open`, are such that every S of the family with all of
// them has this very tree; the other subsets are divided by the first key that they lack:
//   family i: kept + {a1 .. a(i-1)}, open - {a1 .. ai}.
// So no subset is looked at twice, and the subsets of one tree together.
#pragma once

#include <vector>

#include "impls/selection/subset_tree.h"

namespace orvik::impls::selection {

struct subset_range {
  attribute_set kept, open;
  unsigned long bound = 0;  // errors that each of its trees makes at least
};

class family {
 public:
  /// `tree` is that of kept + open.
  family(const subset_tree& tree, const setting& s, const subset_range& range);

  /// The smallest subset with the tree of the family.
  const attribute_set& least() const { return least_; }
  /// Families of the subsets with other trees, each with its bound. Keys are taken from the root
  /// down, so that a later family has the beginning of the tree fixed.
  std::vector<subset_range> take_rest() { return std::move(rest_); }

 private:
  std::size_t fixing_keys(const subset_tree::place& p, const setting& s, const attribute_set& most,
                          const attribute_set& kept) const;
  unsigned long bound(const subset_tree& tree, const setting& s, std::size_t n_keys) const;

  attribute_set least_;
  std::vector<unsigned int> keys_;
  std::vector<std::size_t> fixed_by_;  // by place: the number of keys that fix its choice
  std::vector<subset_range> rest_;
};

}  // namespace orvik::impls::selection
