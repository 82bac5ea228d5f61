// Cases sent down a subtree that they have not come by, without a list object for every node.
#pragma once

#include <memory>
#include <span>
#include <vector>

#include "impls/tables/table.h"

namespace orvik::impls::pruning {

using weighted_row = case_list::value_type;

/// The share of every branch 1 .. n of a split in the known weight of `cases`, of `total` weight
/// in all: what column::split() gives as fractions, to the last bit.
void find_shares(const column& tested, std::span<const weighted_row> cases, code_t threshold,
                 double total, std::span<double> shares);

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
  /// Replaces the top by the cases of branches 1 .. n of a split, the first on top. Lists keep
  /// the order. `shares` has what the weight of a case of unknown value is multiplied with in
  /// every branch; it is not read for a column without unknown values.
  void split(const column& tested, unsigned long n, code_t threshold,
             std::span<const double> shares);

 private:
  template <class Codes>
  void split_in_two(const Codes& codes, code_t threshold);
  template <class Codes, class BranchOf>
  void scatter(const Codes& codes, BranchOf branch_of, unsigned long n,
               std::span<const double> shares);

  std::vector<weighted_row> cases_;
  std::vector<std::size_t> begins_;    // of the lists, the top last
  std::vector<weighted_row> scratch_;  // grows to the longest top split
  std::vector<std::size_t> places_;    // by branch: where its next case goes
};

}  // namespace orvik::impls::pruning
