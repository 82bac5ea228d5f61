// The errors of subsets, and the account of the work that they took.
#pragma once

#include <span>
#include <vector>

#include "impls/selection/search_tree.h"
#include "impls/selection/subset_tree.h"
#include "orvik/feature_search.h"

namespace orvik::impls::selection {

/// Threads: one; it spreads its work over the workers. The result and the account are the same for
/// any number of them.
class evaluator {
 public:
  explicit evaluator(const setting& s, const deadline& limit) : s_(s), cases_(s), limit_(limit) {}
  virtual ~evaluator() = default;
  evaluator(const evaluator&) = delete;
  evaluator& operator=(const evaluator&) = delete;

  const setting& what() const { return s_; }
  const search_cases& cases() const { return cases_; }
  const deadline& limit() const { return limit_; }
  const feature_search& account() const { return work_; }

  /// Fills in the errors, in units of the search cases, of each subset.
  /// @return false if the time was up before.
  virtual bool rate(std::span<rated_set> subsets) = 0;
  /// The same for one subset, however long it takes.
  void rate_first(rated_set& subset);

 protected:
  const setting& s_;
  search_cases cases_;
  deadline limit_;
  feature_search work_;
};

/// Grows each tree from the root, with nothing kept between them.
class plain_evaluator : public evaluator {
 public:
  using evaluator::evaluator;
  bool rate(std::span<rated_set> subsets) override;
};

/// Keeps one search tree for all subsets; and of every tree the subsets that it is the tree of,
/// those between two.
class sharing_evaluator : public evaluator {
 public:
  sharing_evaluator(const setting& s, const deadline& limit)
      : evaluator(s, limit), tree_(s, cases_, s.usable) {}

  bool rate(std::span<rated_set> subsets) override;
  /// Least subset of a tree grown so far, and its errors, for each of them.
  std::vector<rated_set> known_least() const;
  search_tree& tree() { return tree_; }

 private:
  struct known_tree {
    attribute_set least, most;
    unsigned long errors;
  };

  const known_tree* find_known(const attribute_set& subset) const;
  bool rate_new(std::span<const attribute_set> subsets);

  search_tree tree_;
  std::vector<known_tree> known_;
};

}  // namespace orvik::impls::selection
