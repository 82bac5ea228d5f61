// Which branch every case of a node takes, as whoever has the tested column tells it to those that
// lack it.
//
// Bytes: one that says whether some value is unknown; of a test in two branches the lowest and the
// highest code of each (4 bytes a number); and for every case, in their order, a packed code
// (packed_codes.h): of n branches 0 to n - 1, where some value is unknown 1 to n, and 0 for those.
// The numbers of branches and of cases are known to both sides.
#pragma once

#include <algorithm>
#include <bit>
#include <cassert>
#include <cstdint>
#include <cstring>
#include <span>
#include <string>
#include <string_view>
#include <vector>

#include "impls/growing/growing_plan.h"
#include "impls/growing/packed_codes.h"
#include "impls/trees/split_test.h"

namespace orvik::impls::growing {

/// Threads: one reader.
class told_branches {
 public:
  /// Takes from the front of `told`, behind which 8 bytes follow, what was told of a node of so
  /// many cases and branches.
  told_branches(std::string_view& told, const split_test& test, std::size_t n_branches,
                std::size_t n_cases);
  /// Appends the branches of the cases of a node, counted or weighed, by a test of a column of the
  /// plan's table.
  template <class Case>
  static void tell(const growing_plan& plan, const split_test& test, std::span<const Case> cases,
                   std::string& to);

  bool some_unknown() const { return some_unknown_; }
  std::size_t n_branches() const { return n_branches_; }
  /// To be asked for each case once, in their order: 0 where the value is unknown, else from 1.
  told_codes codes() const { return {codes_, n_branches_ + some_unknown_, !some_unknown_}; }
  /// Sets `lowest` and `highest` of each branch.
  template <class Branch>
  void give_ranges(std::vector<Branch>& branches) const {
    for (std::size_t b = 0; b < branches.size(); ++b) {
      const auto value = static_cast<std::uint32_t>(b) + 1;
      branches[b].lowest = ranges_.empty() ? value : ranges_[b].lowest;
      branches[b].highest = ranges_.empty() ? value : ranges_[b].highest;
    }
  }

 private:
  struct bounds {
    std::uint32_t lowest, highest;  // code of a branch
  };

  template <class Codes, class BranchOf, class Case>
  static void write(const Codes& codes, BranchOf branch_of, std::span<const Case> cases,
                    bool some_unknown, code_writer& out, bounds* ranges);

  bool some_unknown_;
  std::size_t n_branches_;
  const char* codes_;
  std::vector<bounds> ranges_;  // of a test in two
};

}  // namespace orvik::impls::growing
