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

/// Two branches: one value, and all others.
struct one_value_branches {
  static constexpr bool k_joins_codes = true;
  code_t value;
  std::size_t operator()(code_t code) const { return code != value; }
};

struct split_test {
  enum kind : unsigned char { EVERY_VALUE, CUT, ONE_VALUE };

  unsigned int attribute = 0;
  kind how = EVERY_VALUE;
  code_t code = k_unknown;  ///< at which a cut lies, or of the one value

  static split_test cut_at(unsigned int attribute, code_t code) { return {attribute, CUT, code}; }
  static split_test one_value(unsigned int attribute, code_t code) {
    return {attribute, ONE_VALUE, code};
  }

  bool is_cut() const { return how == CUT; }
  bool is_one_value() const { return how == ONE_VALUE; }
  /// Whether there are two branches whatever the values.
  bool parts_in_two() const { return how != EVERY_VALUE; }
  /// Calls f with the rule itself: a loop over many cases chooses it once.
  template <class F>
  decltype(auto) with_rule(const F& f) const {
    if (how == EVERY_VALUE) return f(value_branches{});
    return how == CUT ? f(cut_branches{code}) : f(one_value_branches{code});
  }
  /// Branch of a known code, counted from 0.
  std::size_t branch_of(code_t of_case) const {
    assert(of_case != k_unknown);
    return with_rule([of_case](auto branch_of) { return branch_of(of_case); });
  }
};

}  // namespace orvik::impls
