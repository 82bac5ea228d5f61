// The test of a split node: which branch a known value takes.
//
// Growing, pruning, prediction, searches and what is written of a tree all ask this one rule.
#pragma once

#include <cassert>
#include <cstddef>

#include "impls/types.h"

namespace orvik::impls {

// Rules from a known code to a branch, counted from 0; and whether a branch has several codes.

/// Two branches: the codes up to the cut, and those above it.
struct cut_branches {
  static constexpr bool k_joins_codes = true;
  code_t cut;
  std::size_t operator()(code_t code) const { return code > cut; }
};

/// A branch for every value.
struct value_branches {
  static constexpr bool k_joins_codes = false;
  std::size_t operator()(code_t code) const { return code - 1; }
};

struct split_test {
  unsigned int attribute = 0;
  code_t cut = 0;  ///< 0: a branch for every value. A cut lies at the code of a value.

  bool is_cut() const { return cut != k_unknown; }
  /// Calls f with the rule itself: a loop over many cases chooses it once.
  template <class F>
  decltype(auto) with_rule(const F& f) const {
    return is_cut() ? f(cut_branches{cut}) : f(value_branches{});
  }
  /// Branch of a known code, counted from 0.
  std::size_t branch_of(code_t code) const {
    assert(code != k_unknown);
    return with_rule([code](auto branch_of) { return branch_of(code); });
  }
};

}  // namespace orvik::impls
