// Cases sent down a subtree that they have not come by, without a list object for every node.
#pragma once

#include <span>
#include <vector>

#include "impls/trees/routing.h"

namespace orvik::impls {

/// Lists of cases on top of each other. Only the one on top is worked on.
/// Memory: that of the cases, and once more of the longest list that was split.
class case_stack {
 public:
  explicit case_stack(const case_list& bottom) : cases_(bottom), begins_{0} {}

  std::span<const weighted_row> top() const { return std::span(cases_).subspan(begins_.back()); }
  void pop() {
    cases_.resize(begins_.back());
    begins_.pop_back();
  }

  /// What a split multiplies the weight of a case of unknown value with, by branch.
  using share_list = std::span<const double>;
  /// Replaces the top by the cases of branches 1 .. n of a test, the first on top. Lists keep the
  /// order. Without `shares` those are taken that the cases of known value have, the top being of
  /// `total` weight: what split_cases() gives as fractions. @return the shares, valid until the
  /// next split; of no meaning for a column without unknown values, which needs none.
  share_list split(const column& tested, const split_test& test, std::size_t n, double total,
                   share_list shares = {});

 private:
  template <class CodeOf, class BranchOf>
  void split_in_two(const CodeOf& code_of, BranchOf branch_of);
  template <class CodeOf, class BranchOf>
  share_list scatter(const CodeOf& code_of, BranchOf branch_of, std::size_t n, double total,
                     share_list shares);
  share_list own_shares(double known);
  std::span<const weighted_row> copy_of_top();
  void make_room(std::size_t unknowns);

  std::vector<weighted_row> cases_;
  std::vector<std::size_t> begins_;    // of the lists, the top last
  std::vector<weighted_row> scratch_;  // grows to the longest top split
  std::vector<case_count> counts_;     // by branch, of the last split
  std::vector<std::size_t> places_;    // by branch: where its next case goes
  std::vector<double> shares_;         // by branch
};

}  // namespace orvik::impls
