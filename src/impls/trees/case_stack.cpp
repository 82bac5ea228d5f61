#include "impls/trees/case_stack.h"

#include <algorithm>
#include <cassert>

namespace orvik::impls {

/// For codes without unknown ones. Both branches are written to at every step, so nothing hangs on
/// the prediction of the branch: the second in place, behind what is read, the first aside.
template <class CodeOf, class BranchOf>
void case_stack::split_in_two(const CodeOf& code_of, BranchOf branch_of) {
  weighted_row* const top = cases_.data() + begins_.back();
  const std::size_t n = cases_.size() - begins_.back();
  if (scratch_.size() < n) scratch_.resize(n);
  weighted_row* const aside = scratch_.data();
  std::size_t first = 0, second = 0;
  for (std::size_t i = 0; i < n; ++i) {
    const weighted_row c = top[i];
    const std::size_t branch = branch_of(code_of(c));
    assert(branch < 2);
    aside[first] = c;
    top[second] = c;
    first += 1 - branch;
    second += branch;
  }
  std::copy_n(aside, first, top + second);
  begins_.push_back(begins_.back() + second);
}

std::span<const weighted_row> case_stack::copy_of_top() {
  const std::span<const weighted_row> above = top();
  if (scratch_.size() < above.size()) scratch_.resize(above.size());
  std::copy(above.begin(), above.end(), scratch_.begin());
  return {scratch_.data(), above.size()};
}

/// Puts lists of the counted sizes in the place of the top, the first on top.
void case_stack::make_room(std::size_t unknowns) {
  places_.resize(counts_.size());
  std::size_t end = begins_.back();
  begins_.pop_back();
  for (std::size_t b = counts_.size(); b-- > 0;) {
    begins_.push_back(end);
    places_[b] = end;
    end += counts_[b].n + unknowns;
  }
  cases_.resize(end);
}

case_stack::share_list case_stack::own_shares(double known) {
  shares_.clear();
  for (const case_count& branch : counts_) shares_.push_back(share_of(branch.weight, known));
  return shares_;
}

template <class CodeOf, class BranchOf>
case_stack::share_list case_stack::scatter(const CodeOf& code_of, BranchOf branch_of, std::size_t n,
                                           double total, share_list shares) {
  const std::span<const weighted_row> cases = copy_of_top();
  counts_.assign(n, {});
  const case_count unknowns =
      count_cases(cases, code_of, branch_of, std::span<case_count>(counts_));
  if (shares.empty()) shares = own_shares(total - unknowns.weight);
  assert(shares.size() == n);
  make_room(unknowns.n);
  for_each_routed(
      cases, code_of, branch_of, n,
      [&](std::size_t b, const weighted_row& c, code_t) { cases_[places_[b]++] = c; },
      [&](const weighted_row& c) {
        for (std::size_t b = 0; b < n; ++b) {
          cases_[places_[b]++] = {c.first, c.second * shares[b]};
        }
      });
  return shares;
}

case_stack::share_list case_stack::split(const column& tested, const split_test& test,
                                         std::size_t n, double total, share_list shares) {
  // A bool column has no unknown values and no third code.
  const bool in_two =
      n == 2 && (test.parts_in_two() ? !tested.values()->has_null() : tested.code_bits() == 1);
  visit_routing(tested, test, [&](const auto& code_of, auto branch_of) {
    if (in_two) {
      split_in_two(code_of, branch_of);
    } else {
      shares = scatter(code_of, branch_of, n, total, shares);
    }
  });
  return shares;
}

}  // namespace orvik::impls
