// Cases sent down a subtree that they have not come by, without a list object for every node.
#pragma once

#include <span>
#include <vector>

#include "impls/trees/routing.h"

namespace orvik::impls {

using weighted_row = case_list::value_type;

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

  /// What a split multiplies the weight of a case of unknown value with, by branch. It is not read
  /// for a column without unknown values.
  using share_list = std::span<const double>;
  /// Replaces the top by the cases of branches 1 .. n of a test, the first on top. Lists keep the
  /// order.
  void split(const column& tested, const split_test& test, std::size_t n, share_list shares);
  /// The same with the shares that the top's own cases of known value have, the top being of
  /// `total` weight: what split_cases() gives as fractions. @return them, valid until the next
  /// split; of no meaning for a column without unknown values.
  share_list split(const column& tested, const split_test& test, std::size_t n, double total);

 private:
  template <class SharesOf>
  void split_by(const column& tested, const split_test& test, std::size_t n,
                const SharesOf& shares_of);
  template <class CodeOf, class BranchOf>
  void split_in_two(const CodeOf& code_of, BranchOf branch_of);
  template <class CodeOf, class BranchOf, class SharesOf>
  void scatter(const CodeOf& code_of, BranchOf branch_of, std::size_t n, const SharesOf& shares_of);
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
