// Puts the cases of a node in order of the branches of its split. Stable: a branch keeps the order
// it had, so that rows which ascend go on doing so.
#pragma once

#include <algorithm>
#include <cassert>
#include <cstdint>
#include <memory>
#include <span>
#include <type_traits>
#include <vector>

#include "impls/splitting/counted_cases.h"
#include "impls/trees/split_test.h"

namespace orvik::impls::growing {

/// One branch of a split.
struct branch_part {
  std::size_t size = 0;           // entries
  std::size_t end = 0;            // one past its last entry, from the first of the node
  std::uint32_t lowest, highest;  // code
};

/// Room for cases: memory that is not written to is none that the system has to find.
class untouched_cases {
 public:
  /// What was there is lost where there was not room for so many.
  void make_room(std::size_t n) {
    if (n <= size_) return;
    size_ = 0;  // where there is no memory for more, there is no room
    cases_.reset();
    cases_ = std::make_unique_for_overwrite<counted_case[]>(n);
    size_ = n;
  }
  counted_case& operator[](std::size_t i) { return cases_[i]; }
  const counted_case* begin() const { return cases_.get(); }

 private:
  std::unique_ptr<counted_case[]> cases_;
  std::size_t size_ = 0;
};

/// What a partition needs and finds. Kept by each thread for its memory.
struct partition_scratch {
  std::vector<branch_part> parts;
  std::vector<std::uint32_t> class_counts;  // by branch, then by class code
  std::size_t n_classes;                    // codes
  std::vector<std::uint32_t> branches;      // by case
  untouched_cases cases;

  /// Ranges of codes start from that of a test in two, else from the branch's own.
  void start(const split_test& test, std::size_t n, std::size_t n_class_codes) {
    n_classes = n_class_codes;
    class_counts.assign(n * n_classes, 0);
    parts.clear();
    for (std::uint32_t b = 0; b < n; ++b) {
      const auto code = test.parts_in_two() ? static_cast<std::uint32_t>(test.code) : b + 1;
      parts.push_back({0, 0, code, code});
    }
  }
};

/// All codes are known, and branch_of() gives one of the parts started.
template <class Codes, class BranchOf>
void sort_by_branch(const Codes& codes, BranchOf branch_of, std::span<counted_case> cases,
                    partition_scratch& scratch) {
  const std::size_t n_classes = scratch.n_classes;
  scratch.cases.make_room(cases.size());
  if (scratch.branches.size() < cases.size()) scratch.branches.resize(cases.size());
  for (std::size_t i = 0; i < cases.size(); ++i) {
    const auto code = static_cast<std::uint32_t>(codes[cases[i].row]);
    const std::size_t b = branch_of(code);
    assert(code != k_unknown && b < scratch.parts.size());
    branch_part& part = scratch.parts[b];
    ++part.size;
    part.lowest = std::min(part.lowest, code);
    part.highest = std::max(part.highest, code);
    scratch.branches[i] = static_cast<std::uint32_t>(b);
    scratch.class_counts[b * n_classes + cases[i].class_code] += cases[i].count;
  }
  std::size_t at = 0;
  for (branch_part& part : scratch.parts) {
    part.end = at;
    at += part.size;
  }
  for (std::size_t i = 0; i < cases.size(); ++i) {
    scratch.cases[scratch.parts[scratch.branches[i]].end++] = cases[i];
  }
  std::copy_n(scratch.cases.begin(), cases.size(), cases.begin());
}

/// The same for two branches, in one pass: cases of the first close ranks, the others wait aside.
/// Codes of the second are above those of the first, or around the one of the first.
template <class Codes, class BranchOf>
void sort_in_two(const Codes& codes, BranchOf branch_of, std::span<counted_case> cases,
                 partition_scratch& scratch) {
  const std::size_t n_classes = scratch.n_classes;
  scratch.cases.make_room(cases.size());
  assert(scratch.parts.size() == 2);
  branch_part& low = scratch.parts[0];
  branch_part& high = scratch.parts[1];
  std::uint32_t lowest = low.lowest, highest = high.highest;
  std::size_t n_low = 0, n_high = 0;
  for (const counted_case c : cases) {
    const auto code = static_cast<std::uint32_t>(codes[c.row]);
    const bool is_high = branch_of(code) != 0;
    lowest = std::min(lowest, code);
    highest = std::max(highest, code);
    scratch.class_counts[is_high * n_classes + c.class_code] += c.count;
    cases[n_low] = c;
    scratch.cases[n_high] = c;
    n_low += !is_high;
    n_high += is_high;
  }
  std::copy_n(scratch.cases.begin(), n_high, cases.begin() + static_cast<std::ptrdiff_t>(n_low));
  constexpr bool around = std::is_same_v<BranchOf, one_value_branches>;
  (around ? high : low).lowest = lowest;
  high.highest = highest;
  low.size = low.end = n_low;
  high.size = n_high;
  high.end = cases.size();
}

}  // namespace orvik::impls::growing
