// Which cases go down which branch of a split. Membership is one function from code to branch;
// the passes over the cases are shared by all widths and kinds of columns.
#pragma once

#include <algorithm>
#include <memory>
#include <span>
#include <vector>

#include "impls/tables/column.h"

namespace orvik::impls::kernel {

/// Branch of a code, counted from 0, or `n_branches` for none. Unknown codes are not asked for.
struct threshold_branch {
  code_t threshold;
  std::size_t operator()(code_t code) const { return code > threshold; }
};

struct code_branch {
  std::size_t operator()(code_t code) const { return code - 1; }
};

/// Renames branch `wanted` (from 0) of another rule to 0, the others to 1.
template <class BranchOf>
struct only_branch {
  BranchOf branch_of;
  std::size_t wanted;
  std::size_t operator()(code_t code) const { return branch_of(code) == wanted ? 0 : 1; }
};

/// What a first pass over the cases tells of one branch.
struct branch_count {
  std::size_t known = 0;
  double weight = 0;  // of the known cases, added in their order
  code_t lowest = 0;
  code_t highest = 0;
};

/// O(cases + branches). Codes outside the branches are left out.
/// Cost: two passes over the cases, and one entry a branch for every unknown case.
template <class Codes, class BranchOf>
std::vector<column::branch_cases> split(const Codes& codes, const case_list& cases, std::size_t n,
                                        double total_weight, BranchOf branch_of,
                                        std::vector<branch_count> count) {
  std::size_t unknown = 0;
  double unknown_weight = 0;
  for (const auto& [row, weight] : cases) {
    const code_t code = codes[row];
    if (code == k_unknown) {
      ++unknown;
      unknown_weight += weight;
      continue;
    }
    const std::size_t b = branch_of(code);
    if (b >= n) continue;
    branch_count& c = count[b];
    ++c.known;
    c.weight += weight;
    c.lowest = std::min(c.lowest, code);
    c.highest = std::max(c.highest, code);
  }

  const double known_weight = total_weight - unknown_weight;
  std::vector<column::branch_cases> branches(n);
  for (std::size_t b = 0; b < n; ++b) {
    branches[b].cases = std::make_unique<case_list>();
    branches[b].cases->reserve(count[b].known + unknown);
    // Where raising brings only cases of unknown value to a test, no branch has a share.
    branches[b].fraction = known_weight > 0 ? count[b].weight / known_weight : 0.0;
    branches[b].range = {count[b].lowest, count[b].highest + 1};
  }
  for (const auto& [row, weight] : cases) {
    const code_t code = codes[row];
    if (code == k_unknown) {
      for (column::branch_cases& b : branches) b.cases->emplace_back(row, weight * b.fraction);
      continue;
    }
    const std::size_t b = branch_of(code);
    if (b < n) branches[b].cases->emplace_back(row, weight);
  }
  return branches;
}

/// The cases of one branch; those of unknown value, weighted by `factor`, where wanted.
template <class Codes, class BranchOf>
std::unique_ptr<case_list> select(const Codes& codes, const case_list& cases, BranchOf in_branch,
                                  double factor, bool with_unknown) {
  const auto belongs = [&](code_t code) {
    return code == k_unknown ? with_unknown : in_branch(code) == 0;
  };
  std::size_t size = 0;
  for (const auto& [row, weight] : cases) size += belongs(codes[row]);

  auto chosen = std::make_unique<case_list>();
  chosen->reserve(size);
  for (const auto& [row, weight] : cases) {
    const code_t code = codes[row];
    if (belongs(code)) chosen->emplace_back(row, code == k_unknown ? weight * factor : weight);
  }
  return chosen;
}

}  // namespace orvik::impls::kernel
