// Which branch every case of a node takes, as whoever has the tested column tells it to those that
// lack it.
//
// Bytes: one that says whether some value is unknown; of a test in two branches the lowest and the
// highest code of each (4 bytes a number); and for every case, in their order, a code in as few
// bits as the largest one takes, the lowest first: of n branches 0 to n - 1, where some value is
// unknown 1 to n, and 0 for those. The numbers of branches and of cases are known to both sides.
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
#include "impls/trees/split_test.h"

namespace orvik::impls::growing {

/// Codes side by side, of so few bits each, read one after the other.
class told_codes {
 public:
  /// More than 7 bytes must follow the last code.
  told_codes(const char* at, unsigned int bits, std::uint32_t first)
      : at_(at), bits_(bits), first_(first) {}

  /// That of the next case, whatever its row: 0 where the value is unknown, else from 1.
  std::uint32_t operator[](row_t) const {
    std::uint64_t word = 0;
    std::memcpy(&word, at_ + next_ / 8, sizeof word);
    const std::uint64_t code = word >> next_ % 8 & ((std::uint64_t{1} << bits_) - 1);
    next_ += bits_;
    return static_cast<std::uint32_t>(code) + first_;
  }

 private:
  const char* at_;
  unsigned int bits_;
  std::uint32_t first_;
  mutable std::size_t next_ = 0;  // bit
};

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
  /// To be asked for each case once, in their order.
  told_codes codes() const { return {codes_, bits_, some_unknown_ ? 0U : 1U}; }
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

  class code_writer;
  template <class Codes, class BranchOf, class Case>
  static void write(const Codes& codes, BranchOf branch_of, std::span<const Case> cases,
                    bool some_unknown, code_writer& out, bounds* ranges);
  static unsigned int bits_for(std::size_t n_branches, bool some_unknown) {
    return static_cast<unsigned int>(std::bit_width(n_branches - !some_unknown));
  }

  bool some_unknown_;
  std::size_t n_branches_;
  unsigned int bits_;
  const char* codes_;
  std::vector<bounds> ranges_;  // of a test in two
};

}  // namespace orvik::impls::growing
