// Sending cases down a test: which branch each one takes, and what goes where its value is unknown.
//
// One loop decides, for_each_routed(). Counting, lists by branch, lists on top of each other (see
// case_stack.h) and the cases of one branch are what is made of it. Sums are added in the order of
// the cases: their last bit is part of the result.
#pragma once

#include <cstddef>
#include <memory>
#include <optional>
#include <span>
#include <vector>

#include "impls/tables/column.h"
#include "impls/trees/split_test.h"

namespace orvik::impls {

using weighted_row = case_list::value_type;

/// The share of a branch in the weight of the cases with a known value, by which the weight of
/// each of the others is multiplied. Where raising brings only such cases to a test no branch has
/// one.
inline double share_of(double branch, double known) { return known > 0 ? branch / known : 0.0; }

/// What of `amount`, a part of a case to be predicted, goes to a branch or a class with `weight` of
/// the `total` at the node. It is multiplied before it is divided: the share of a node is that of
/// the known weight, so it is no use here, and a quotient that is rounded first is another number.
inline double part_of(double amount, double weight, double total) {
  return amount * weight / total;
}

/// Calls known(branch, item, code) or unknown(item) for each of the items, in order. Codes whose
/// branch is not below n are left out.
template <class Items, class CodeOf, class BranchOf, class Known, class Unknown>
void for_each_routed(const Items& items, const CodeOf& code_of, BranchOf branch_of, std::size_t n,
                     const Known& known, const Unknown& unknown) {
  for (const auto& item : items) {
    const code_t code = code_of(item);
    if (code == k_unknown) {
      unknown(item);
    } else if (const std::size_t b = branch_of(code); b < n) {
      known(b, item, code);
    }
  }
}

struct case_count {
  std::size_t n = 0;
  double weight = 0;
};

/// Counts the cases of every branch, whose counts must be 0. @return those of unknown value.
template <class Cases, class CodeOf, class BranchOf>
case_count count_cases(const Cases& cases, const CodeOf& code_of, BranchOf branch_of,
                       std::span<case_count> branches) {
  case_count unknowns;
  const auto add = [](case_count& count, double weight) {
    ++count.n;
    count.weight += weight;
  };
  for_each_routed(
      cases, code_of, branch_of, branches.size(),
      [&](std::size_t b, const auto& c, code_t) { add(branches[b], c.second); },
      [&](const auto& c) { add(unknowns, c.second); });
  return unknowns;
}

/// Calls f(code_of, branch_of) for weighted rows, by the width of the column and the test's rule.
template <class F>
decltype(auto) visit_routing(const column& tested, const split_test& test, const F& f) {
  return visit_codes(tested.codes(), [&](const auto& codes) {
    return test.with_rule([&](auto branch_of) {
      return f([codes](const auto& c) -> code_t { return codes[c.first]; }, branch_of);
    });
  });
}

/// The cases of one branch of a split.
struct branch_cases {
  std::unique_ptr<case_list> cases;
  double fraction = 0;  ///< its share of the weight of the cases with a known value
  code_range range;     ///< what the column's codes are limited to below the branch
};

/// What column::partition() gives, for each of the n branches of a test. Codes outside them are
/// left out. Cost: two passes over the cases, and an entry a branch for every unknown one.
std::vector<branch_cases> split_cases(const column& tested, const split_test& test,
                                      const case_list& cases, std::size_t n, double total_weight);

/// The same for one branch, from 0.
branch_cases cases_of_branch(const column& tested, const split_test& test, const case_list& cases,
                             std::size_t branch, double total_weight);

/// The cases that take a branch, from 0; those of unknown value with `unknown_factor` times their
/// weight, or not.
std::unique_ptr<case_list> select_branch(const column& tested, const split_test& test,
                                         const case_list& cases, std::size_t branch,
                                         std::optional<double> unknown_factor);

}  // namespace orvik::impls
