// The votes of an ensemble's trees.
#pragma once

#include <cassert>
#include <cstdint>
#include <span>
#include <vector>

#include "impls/trees/distribution.h"

namespace orvik::impls {

/// Whole votes: every kind of ensemble gives each of its trees one.
using vote_t = std::uint32_t;

class decision_tree;

/// A tree that is asked, and the votes it has.
struct voter {
  const decision_tree* tree;
  vote_t votes = 1;
};

/// What the trees said of some cases: counters by case, then by class code.
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

    double share_of(std::uint64_t all) const {
      return static_cast<double>(votes) / static_cast<double>(all);
    }
  };
  verdict decide(std::size_t i) const {
    const distribution of_case(
        std::span<const vote_t>(counts_.data() + i * n_class_codes_, n_class_codes_));
    const code_t predicted = of_case.decide();
    return {predicted, of_case[predicted]};
  }

 private:
  std::size_t n_class_codes_ = 0;
  std::vector<vote_t> counts_;
};

}  // namespace orvik::impls
