#include "impls/trees/routing.h"

#include <algorithm>
#include <cassert>
#include <stdexcept>
#include <string>

namespace orvik::impls {

namespace {

/// Branch `wanted` (from 0) of another rule as branch 0; the others are none.
template <class BranchOf>
struct only_branch {
  static constexpr bool k_joins_codes = BranchOf::k_joins_codes;
  BranchOf branch_of;
  std::size_t wanted;
  std::size_t operator()(code_t code) const { return branch_of(code) == wanted ? 0 : 1; }
};

/// Fills branches whose ranges hold the codes they start from.
template <class CodeOf, class BranchOf>
void fill(const case_list& cases, double total_weight, const CodeOf& code_of, BranchOf branch_of,
          std::span<branch_cases> branches) {
  std::vector<case_count> counts(branches.size());
  const case_count unknowns = count_cases(cases, code_of, branch_of, std::span<case_count>(counts));
  std::vector<weighted_row*> ends(branches.size());  // of the lists so far
  for (std::size_t b = 0; b < branches.size(); ++b) {
    branches[b].cases = std::make_unique<case_list>(counts[b].n + unknowns.n);
    branches[b].fraction = share_of(counts[b].weight, total_weight - unknowns.weight);
    ends[b] = branches[b].cases->data();
  }
  for_each_routed(
      cases, code_of, branch_of, branches.size(),
      [&](std::size_t b, const auto& c, [[maybe_unused]] code_t code) {
        if constexpr (BranchOf::k_joins_codes) {
          code_range& range = branches[b].range;
          range = {std::min(range.first, code), std::max(range.second, code + 1)};
        }
        *ends[b]++ = c;
      },
      [&](const auto& c) {
        for (std::size_t b = 0; b < branches.size(); ++b) {
          *ends[b]++ = {c.first, c.second * branches[b].fraction};
        }
      });
  for (std::size_t b = 0; b < branches.size(); ++b) {
    assert(ends[b] == branches[b].cases->data() + branches[b].cases->size());
  }
}

/// A test in two limits the codes of a branch to a range that holds the test's, a value to its own
/// code.
code_range first_range(const split_test& test, std::size_t branch) {
  const code_t code = test.parts_in_two() ? test.code : branch + 1;
  return {code, code + 1};
}

split_test test_of(const column& tested, code_t threshold) {
  return tested.type() == column::CONTINUOUS ? split_test::cut_at(0, threshold) : split_test();
}

/// Throws for a column that no test has. Deliberate: one that has codes names the method
/// "partition", whichever is called.
void require_branches(const column& tested, const char* method) {
  const unsigned bits = tested.code_bits();
  const column::role type = tested.type();
  if (bits == 1 && type == column::DISCRETE) return;
  if (bits > 1 && (type == column::CONTINUOUS || type == column::DISCRETE || type == column::CLASS))
    return;
  const char* const kind = bits == 0 ? "column" : bits == 1 ? "column_bool" : "column_typed";
  throw std::runtime_error("[" + std::string(kind) + "::" + (bits == 0 ? method : "partition") +
                           "] method not defined for column type '" + tested.get_type() + "'");
}

}  // namespace

std::vector<branch_cases> split_cases(const column& tested, const split_test& test,
                                      const case_list& cases, std::size_t n, double total_weight) {
  require_branches(tested, "partition");
  std::vector<branch_cases> branches(n);
  for (std::size_t b = 0; b < n; ++b) branches[b].range = first_range(test, b);
  visit_routing(tested, test, [&](const auto& code_of, auto branch_of) {
    fill(cases, total_weight, code_of, branch_of, branches);
  });
  return branches;
}

branch_cases cases_of_branch(const column& tested, const split_test& test, const case_list& cases,
                             std::size_t branch, double total_weight) {
  require_branches(tested, "partition");
  branch_cases found;
  found.range = first_range(test, branch);
  visit_routing(tested, test, [&](const auto& code_of, auto branch_of) {
    fill(cases, total_weight, code_of, only_branch<decltype(branch_of)>{branch_of, branch},
         {&found, 1});
  });
  return found;
}

std::unique_ptr<case_list> select_branch(const column& tested, const split_test& test,
                                         const case_list& cases, std::size_t branch,
                                         std::optional<double> unknown_factor) {
  require_branches(tested, "select");
  auto chosen = std::make_unique<case_list>();
  visit_routing(tested, test, [&](const auto& code_of, auto branch_of) {
    const only_branch<decltype(branch_of)> rule{branch_of, branch};
    case_count known;
    const case_count unknown = count_cases(cases, code_of, rule, {&known, 1});
    chosen->reserve(known.n + (unknown_factor ? unknown.n : 0));
    for_each_routed(
        cases, code_of, rule, 1,
        [&](std::size_t, const auto& c, code_t) { chosen->emplace_back(c.first, c.second); },
        [&](const auto& c) {
          if (unknown_factor) chosen->emplace_back(c.first, c.second * *unknown_factor);
        });
  });
  return chosen;
}

case_list* column::partition(const case_list* cases, unsigned long branch, double total_weight,
                             double& fraction, code_range& range, unsigned long threshold) const {
  branch_cases found =
      cases_of_branch(*this, test_of(*this, threshold), *cases, branch - 1, total_weight);
  fraction = found.fraction;
  range = found.range;
  return found.cases.release();  // to the caller
}

case_list* column::select(const case_list* cases, unsigned long branch, double unknown_factor,
                          unsigned long threshold, bool with_unknown) const {
  return select_branch(*this, test_of(*this, threshold), *cases, branch - 1,
                       with_unknown ? std::optional(unknown_factor) : std::nullopt)
      .release();  // to the caller
}

}  // namespace orvik::impls
