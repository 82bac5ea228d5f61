// The votes of an ensemble's trees.
#pragma once

#include <cassert>
#include <span>
#include <variant>
#include <vector>

#include "impls/decision/decision.h"
#include "impls/trees/distribution.h"

namespace orvik::impls {

/// One for each tree, or what boosting gives it. Whole ones add up exactly.
using vote_t = double;

class decision_tree;
class packed_tree;

/// A tree that is asked, and the votes it has.
struct voter {
  std::variant<const decision_tree*, const packed_tree*> tree;
  vote_t votes = 1;
};

/// What the trees said of some cases: votes, or shares of them, by case, then by class code.
/// Threads: one.
class vote_count {
 public:
  /// Begins with n cases of whom nothing was said. Keeps the memory of earlier ones.
  void start(std::size_t n, std::size_t n_class_codes) {
    n_class_codes_ = n_class_codes;
    counts_.assign(n * n_class_codes, 0);
  }
  void add(std::size_t i, code_t predicted, vote_t votes) {
    assert(predicted < n_class_codes_);
    counts_[i * n_class_codes_ + predicted] += votes;
  }

  struct verdict {
    code_t predicted;
    vote_t votes;  // for it; 0 where no tree was asked

    double share_of(vote_t all) const { return votes / all; }
  };
  /// Of all cases, and of one by class code.
  std::span<vote_t> all() { return counts_; }
  std::span<vote_t> of_case(std::size_t i) {
    return {counts_.data() + i * n_class_codes_, n_class_codes_};
  }
  verdict decide(std::size_t i) const {
    const distribution said(
        std::span<const vote_t>(counts_.data() + i * n_class_codes_, n_class_codes_));
    const code_t predicted = said.decide();
    return {predicted, said[predicted]};
  }
  /// Fills `shares` with what was said of a case, as shares of it all.
  /// @return false, where no tree was asked.
  bool shares_of(std::size_t i, std::vector<double>& shares) const {
    const std::span<const vote_t> said(counts_.data() + i * n_class_codes_, n_class_codes_);
    const vote_t all = distribution(said).sum();
    shares.assign(said.begin(), said.end());
    for (double& share : shares) share /= all;
    return all > 0;
  }
  /// The same by a decision, with the share of `all` votes in place of the votes. Makes of the
  /// votes the shares that are answered.
  verdict decide_shares(std::size_t i, vote_t all, const decision& how) {
    const std::span<double> shares = of_case(i);
    for (double& share : shares) share /= all;
    how.adjust(shares);
    const code_t predicted = how.decide(shares);
    return {predicted, shares[predicted]};
  }

 private:
  std::size_t n_class_codes_ = 0;
  std::vector<vote_t> counts_;
};

}  // namespace orvik::impls
