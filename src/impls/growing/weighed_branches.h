// The branches of a split of weighed cases: what each weighs, and its cases. Sums and lists keep
// the order of the cases.
#pragma once

#include <algorithm>
#include <cstdint>
#include <limits>
#include <span>
#include <vector>

#include "impls/splitting/node_cases.h"
#include "impls/trees/routing.h"
#include "impls/trees/split_test.h"

namespace orvik::impls::growing {

using splitting::weighed_case;

/// One branch of a split.
struct weighed_branch {
  std::size_t size = 0;           // cases of known value
  double weight = 0;              // of these
  std::uint32_t lowest, highest;  // code
  double share = 0;               // of the weight of all cases of known value
  weighed_case* next = nullptr;   // where its next case goes; null: it needs none
};

/// What a split needs and finds. Kept by each thread for its memory.
struct weighed_scratch {
  static constexpr std::uint32_t k_unknown_branch = std::numeric_limits<std::uint32_t>::max();

  std::vector<weighed_branch> branches;
  std::vector<double> class_weights;     // by branch, then by class code
  std::size_t n_classes = 0;             // codes
  std::size_t n_unknown = 0;             // cases
  std::vector<std::uint32_t> branch_of;  // by case
  std::vector<weighed_case> cases;       // of the second of two branches

  /// Ranges of codes start from that of a test in two, else from the branch's own.
  void start(const split_test& test, std::size_t n, std::size_t n_class_codes) {
    n_classes = n_class_codes;
    n_unknown = 0;
    class_weights.assign(n * n_classes, 0.0);
    branches.clear();
    for (std::uint32_t b = 0; b < n; ++b) {
      const auto code = test.parts_in_two() ? static_cast<std::uint32_t>(test.code) : b + 1;
      branches.push_back({.lowest = code, .highest = code});
    }
  }
  std::span<const double> weights_of(std::size_t branch) const {
    return std::span(class_weights).subspan(branch * n_classes, n_classes);
  }
};

/// Finds the branch of every case, and how much the cases of known value add up to.
/// @return the weight of the others.
template <class Codes, class BranchOf>
double find_branches(const Codes& codes, BranchOf branch_of, std::span<const weighed_case> cases,
                     weighed_scratch& s) {
  if (s.branch_of.size() < cases.size()) s.branch_of.resize(cases.size());
  double unknown = 0;
  for (std::size_t i = 0; i < cases.size(); ++i) {
    const auto code = static_cast<std::uint32_t>(codes[cases[i].row]);
    if (code == k_unknown) {
      s.branch_of[i] = weighed_scratch::k_unknown_branch;
      unknown += cases[i].weight;
      ++s.n_unknown;
      continue;
    }
    const std::size_t b = branch_of(code);
    weighed_branch& branch = s.branches[b];
    s.branch_of[i] = static_cast<std::uint32_t>(b);
    ++branch.size;
    branch.weight += cases[i].weight;
    branch.lowest = std::min(branch.lowest, code);
    branch.highest = std::max(branch.highest, code);
  }
  return unknown;
}

/// Adds up the classes of every branch, whose shares are known.
inline void sum_classes(std::span<const weighed_case> cases, weighed_scratch& s) {
  for (std::size_t i = 0; i < cases.size(); ++i) {
    const weighed_case& c = cases[i];
    double* const sums = s.class_weights.data() + c.class_code;
    if (s.branch_of[i] != weighed_scratch::k_unknown_branch) {
      sums[s.branch_of[i] * s.n_classes] += c.weight;
      continue;
    }
    for (std::size_t b = 0; b < s.branches.size(); ++b) {
      sums[b * s.n_classes] += c.weight * s.branches[b].share;
    }
  }
}

/// Writes the cases of the branches that need them.
inline void deal_out(std::span<const weighed_case> cases, weighed_scratch& s) {
  for (std::size_t i = 0; i < cases.size(); ++i) {
    const weighed_case& c = cases[i];
    if (s.branch_of[i] != weighed_scratch::k_unknown_branch) {
      weighed_case*& next = s.branches[s.branch_of[i]].next;
      if (next != nullptr) *next++ = c;
      continue;
    }
    for (weighed_branch& b : s.branches) {
      if (b.next != nullptr) *b.next++ = {c.row, c.class_code, c.place, c.weight * b.share};
    }
  }
}

/// Two branches without unknown values, in one pass: cases of the first close ranks, those of the
/// second wait in the scratch.
template <class Codes, class BranchOf>
void part_in_two(const Codes& codes, BranchOf branch_of, std::span<weighed_case> cases,
                 weighed_scratch& s) {
  if (s.cases.size() < cases.size()) s.cases.resize(cases.size());
  std::size_t n[2] = {0, 0};
  double weight[2] = {0, 0};
  for (const weighed_case c : cases) {
    const auto code = static_cast<std::uint32_t>(codes[c.row]);
    const std::size_t b = branch_of(code) != 0;
    weighed_branch& branch = s.branches[b];
    branch.lowest = std::min(branch.lowest, code);
    branch.highest = std::max(branch.highest, code);
    s.class_weights[b * s.n_classes + c.class_code] += c.weight;
    cases[n[0]] = c;
    s.cases[n[1]] = c;
    ++n[b];
    weight[b] += c.weight;
  }
  for (std::size_t b = 0; b < 2; ++b) {
    s.branches[b].size = n[b];
    s.branches[b].weight = weight[b];
  }
}

}  // namespace orvik::impls::growing
