// The split measures of cases that are counted: each of weight 1, so that sums are whole numbers.
//
// The results are those of split_kernel.h to the last bit. Sums of whole numbers are the same in
// any order, so classes that do not occur can be left out, terms n log2 n come from a table, and
// sorting and counting give one result: the cheaper is taken. What is rounded (the sums of
// logarithms, class by class, branch by branch) is added in the order that it is added in there.
#pragma once

#include <algorithm>
#include <limits>
#include <span>
#include <utility>
#include <vector>

#include "impls/splitting/count_logs.h"
#include "impls/splitting/counted_cases.h"
#include "impls/splitting/split_kernel.h"
#include "zel/adt/key_sort.h"

namespace orvik::impls::kernel {

using count_t = std::uint32_t;

/// What the measures of one node have in common.
struct counted_node {
  std::span<const counted_case> cases;
  const std::uint16_t* places;      // by class code: its place among the classes that occur
  std::span<const count_t> totals;  // by place
  count_t total;
  double min_weight;          // m
  std::size_t n_all_classes;  // of the class column
};

/// Memory of one measurement, kept by each thread.
struct count_scratch {
  std::vector<count_t> cells;  // by code of the range, then by place
  std::vector<count_t> left, right, known;
  std::vector<std::uint16_t> places;  // of the classes of a value
  zel::adt::key_sorter sorter;
};

/// S log2 S - sum of n log2 n over counts n with sum S.
inline double info(std::span<const count_t> counts, count_t sum, const count_logs& logs) {
  double terms = 0;
  for (const count_t n : counts) terms += logs[n];
  return logs[sum] - terms;
}

/// What the branches of a discrete test add up to, taken in the order of their codes.
class branch_counts {
 public:
  branch_counts(const counted_node& node, count_t unknown)
      : node_(node), unknown_(unknown), sizes_(logs_[unknown]) {}

  /// `branch`: counts by place; those of 0 may be left out.
  void add(std::span<const count_t> branch) {
    count_t size = 0;
    for (const count_t count : branch) size += count;
    large_ += size >= node_.min_weight;
    if (size != 0) infos_ += info(branch, size, logs_);
    sizes_ += logs_[size];
  }
  /// `known`: the counts of all branches.
  splitting_desc result(std::span<const count_t> known) const {
    const count_t known_sum = node_.total - unknown_;
    if (known_sum == 0 || large_ < 2) return {};
    const double w = node_.total, k = known_sum;
    const double gain = (k / w) * (info(known, known_sum, logs_) / k - infos_ / k);
    return {0, 0, gain, (logs_[node_.total] - sizes_) / w};
  }

 private:
  const counted_node& node_;
  const count_logs& logs_ = count_logs::get();
  count_t unknown_;
  std::size_t large_ = 0;
  double infos_ = 0, sizes_;
};

/// The discrete measure on cells: one row of them for each code.
inline splitting_desc measure_cells(std::span<const count_t> cells, const counted_node& node,
                                    std::span<const count_t> known, count_t unknown) {
  branch_counts branches(node, unknown);
  for (std::size_t at = 0; at < cells.size(); at += known.size()) {
    branches.add(cells.subspan(at, known.size()));
  }
  return branches.result(known);
}

/// Adds the cases to their cells. @return the number of unknown values.
template <class Codes>
count_t count_cells(const Codes& codes, const counted_node& node, code_range range,
                    std::vector<count_t>& cells) {
  const std::size_t n = node.totals.size();
  cells.assign((range.second - range.first) * n, 0);
  count_t unknown = 0;
  for (const counted_case& c : node.cases) {
    const code_t code = codes[c.row];
    if (code == k_unknown) {
      unknown += c.count;
    } else {
      cells[(code - range.first) * n + node.places[c.class_code]] += c.count;
    }
  }
  return unknown;
}

inline void sum_cells(std::span<const count_t> cells, std::span<count_t> sums) {
  std::ranges::fill(sums, 0);
  for (std::size_t at = 0; at < cells.size(); at += sums.size()) {
    for (std::size_t i = 0; i < sums.size(); ++i) sums[i] += cells[at + i];
  }
}

/// The search for the best cut, as cut_search, while counts pass from right to left.
class count_search {
 public:
  count_search(const counted_node& node, count_t unknown, std::span<count_t> left,
               std::span<count_t> right)
      : node_(node), unknown_(unknown), known_(node.total - unknown), left_(left), right_(right) {
    const double known = known_;
    const double share = k_min_split_share * known / static_cast<double>(node.n_all_classes);
    const double least =
        node.min_weight >= share ? node.min_weight : std::min(k_largest_min_split, share);
    possible_ = !(2 * node.min_weight > known);
    if (!possible_) return;
    least_ = static_cast<count_t>(std::ceil(least));
    most_ = known - least < 0 ? -1 : static_cast<std::int64_t>(std::floor(known - least));
  }

  /// Whether two branches of the least weight fit at all.
  bool possible() const { return possible_; }
  void begin() { base_ = info(right_, known_, logs_) / known_; }
  void move(std::size_t place, count_t count) {
    right_[place] -= count;
    left_[place] += count;
    left_sum_ += count;
  }
  void move_all(std::span<const count_t> counts) {
    for (std::size_t i = 0; i < counts.size(); ++i) {
      right_[i] -= counts[i];
      left_[i] += counts[i];
      left_sum_ += counts[i];
    }
  }
  bool too_light() const { return left_sum_ < least_; }
  bool ended() const { return left_sum_ > most_; }
  void count_try() { ++tries_; }

  void evaluate(code_t left_code, code_t right_code) {
    double left_terms = 0, right_terms = 0;
    for (std::size_t i = 0; i < left_.size(); ++i) {
      left_terms += logs_[left_[i]];
      right_terms += logs_[right_[i]];
    }
    const double sum = (logs_[left_sum_] - left_terms) + (logs_[known_ - left_sum_] - right_terms);
    if (!(sum < least_sum_)) return;  // no greater gain either: rounding keeps the order
    const double k = known_;
    const double gain = (k / node_.total) * (base_ - sum / k);
    if (!(gain > best_.gain)) return;
    least_sum_ = sum;
    best_ = {left_code, right_code, gain, 0};
    best_left_ = left_sum_;
  }

  splitting_desc result() const {
    const double w = node_.total;
    const double penalty = log2_of(static_cast<double>(tries_)) / w;
    if (penalty >= best_.gain) return {};
    splitting_desc found = best_;
    found.gain -= penalty;
    const double sizes = logs_[unknown_] + logs_[best_left_] + logs_[known_ - best_left_];
    found.split_info = (logs_[node_.total] - sizes) / w;
    return found;
  }

 private:
  const counted_node& node_;
  const count_logs& logs_ = count_logs::get();
  count_t unknown_, known_;
  std::span<count_t> left_, right_;
  bool possible_;
  count_t least_ = 0;
  std::int64_t most_ = 0;
  double base_ = 0;
  double least_sum_ = std::numeric_limits<double>::infinity();
  count_t left_sum_ = 0;
  unsigned long tries_ = 0;
  splitting_desc best_;
  count_t best_left_ = 0;
};

/// Groups of sorted keys (code, place, count), codes counted from the start of the range.
struct key_groups {
  std::span<const std::uint64_t> keys;

  static std::uint64_t key_of(code_t code, std::uint16_t place, std::uint16_t count) {
    return std::uint64_t{code} << zel::adt::k_key_payload_bits | std::uint64_t{place} << 16 | count;
  }
  static std::uint16_t place_of(std::uint64_t key) { return static_cast<std::uint16_t>(key >> 16); }

  /// The group that begins at a key; an empty one past the last.
  value_group at(std::size_t begin) const {
    if (begin == keys.size()) return {begin, begin, 0, k_mixed};
    const code_t code = keys[begin] >> zel::adt::k_key_payload_bits;
    std::uint32_t place = place_of(keys[begin]);
    std::size_t end = begin + 1;
    for (; end < keys.size() && keys[end] >> zel::adt::k_key_payload_bits == code; ++end) {
      if (place_of(keys[end]) != place) place = k_mixed;
    }
    return {begin, end, code, place};
  }
  void move(const value_group& group, count_search& search) const {
    for (std::size_t i = group.begin; i < group.end; ++i) {
      search.move(place_of(keys[i]), static_cast<std::uint16_t>(keys[i]));
    }
  }
  /// Appends the cells of a value that are not 0, in the order of their places, to scratch.cells.
  /// scratch.left is 0 everywhere, before and after.
  void take_cells(const value_group& group, count_scratch& scratch) const {
    scratch.places.clear();
    for (std::size_t i = group.begin; i < group.end; ++i) {
      count_t& cell = scratch.left[place_of(keys[i])];
      if (cell == 0) scratch.places.push_back(place_of(keys[i]));
      cell += static_cast<std::uint16_t>(keys[i]);
    }
    std::ranges::sort(scratch.places);
    for (const std::uint16_t place : scratch.places) {
      scratch.cells.push_back(std::exchange(scratch.left[place], 0));
    }
  }
};

/// Groups of cells, one a code.
struct cell_groups {
  std::span<const count_t> cells;
  std::size_t n_places;

  value_group at(std::size_t begin) const {
    for (; begin < cells.size(); begin += n_places) {
      const std::span<const count_t> counts = cells.subspan(begin, n_places);
      count_t present = 0;
      for (const count_t count : counts) present += count != 0;
      if (present == 0) continue;
      const auto first = std::ranges::find_if(counts, [](count_t count) { return count != 0; });
      const auto place = static_cast<std::uint32_t>(first - counts.begin());
      return {begin, begin + n_places, begin / n_places, present == 1 ? place : k_mixed};
    }
    return {begin, begin, 0, k_mixed};
  }
  void move(const value_group& group, count_search& search) const {
    if (group.only != k_mixed) return search.move(group.only, cells[group.begin + group.only]);
    search.move_all(cells.subspan(group.begin, n_places));
  }
};

/// Moves group after group; scratch.right holds the known counts.
template <class Groups>
splitting_desc sweep(const Groups& groups, const counted_node& node, count_t unknown, code_t lo,
                     count_scratch& scratch) {
  scratch.left.assign(node.totals.size(), 0);
  count_search search(node, unknown, scratch.left, scratch.right);
  value_group group = groups.at(0);
  if (group.begin == group.end || !search.possible()) return {};
  search.begin();
  // The class of the run of values since the last evaluated cut; k_mixed where it is none.
  std::uint32_t run = group.only;
  for (;;) {
    groups.move(group, search);
    if (group.only != run) run = k_mixed;
    const value_group next = groups.at(group.end);
    if (next.begin == next.end) break;
    if (!search.too_light()) {
      if (search.ended()) break;
      search.count_try();
      if (run == k_mixed || next.only != run) {
        search.evaluate(group.code + lo, next.code + lo);
        run = next.only;
      }
    }
    group = next;
  }
  return search.result();
}

/// By counting: O(cases + codes * classes).
template <class Codes>
splitting_desc measure_by_cells(const Codes& codes, const counted_node& node, code_range range,
                                count_scratch& scratch) {
  const count_t unknown = count_cells(codes, node, range, scratch.cells);
  scratch.right.assign(node.totals.begin(), node.totals.end());
  if (unknown != 0) sum_cells(scratch.cells, scratch.right);
  return sweep(cell_groups{scratch.cells, node.totals.size()}, node, unknown, range.first, scratch);
}

/// The known cases sorted by code, their counts by place in scratch.right; `unknown`: the others.
template <class Codes>
key_groups sort_known(const Codes& codes, const counted_node& node, code_range range,
                      count_scratch& scratch, count_t& unknown) {
  const std::span<std::uint64_t> keys = scratch.sorter.start(node.cases.size());
  scratch.right.assign(node.totals.begin(), node.totals.end());
  std::size_t n = 0;
  unknown = 0;
  for (const counted_case& c : node.cases) {
    const code_t code = codes[c.row];
    const std::uint16_t place = node.places[c.class_code];
    if (code == k_unknown) {
      unknown += c.count;
      scratch.right[place] -= c.count;
    } else {
      keys[n++] = key_groups::key_of(code - range.first, place, c.count);
    }
  }
  return {scratch.sorter.sort(n, range.second - range.first)};
}

/// By sorting: O(cases + cuts * classes).
template <class Codes>
splitting_desc measure_by_keys(const Codes& codes, const counted_node& node, code_range range,
                               count_scratch& scratch) {
  count_t unknown;
  const key_groups groups = sort_known(codes, node, range, scratch, unknown);
  return sweep(groups, node, unknown, range.first, scratch);
}

/// The discrete measure by counting: O(cases + codes * classes).
template <class Codes>
splitting_desc measure_all_values(const Codes& codes, const counted_node& node, code_range range,
                                  count_scratch& scratch) {
  const count_t unknown = count_cells(codes, node, range, scratch.cells);
  if (unknown == 0) return measure_cells(scratch.cells, node, node.totals, 0);
  scratch.known.resize(node.totals.size());
  sum_cells(scratch.cells, scratch.known);
  return measure_cells(scratch.cells, node, scratch.known, unknown);
}

/// By sorting, for the cells that occur; the others would add nothing to any sum.
/// O(cases + classes), and the logarithm of the classes of a value.
template <class Codes>
splitting_desc measure_present_values(const Codes& codes, const counted_node& node,
                                      code_range range, count_scratch& scratch) {
  count_t unknown;
  const key_groups groups = sort_known(codes, node, range, scratch, unknown);
  branch_counts branches(node, unknown);
  scratch.left.assign(node.totals.size(), 0);  // the cells of a value, by place
  for (value_group g = groups.at(0); g.begin != g.end; g = groups.at(g.end)) {
    scratch.cells.clear();
    groups.take_cells(g, scratch);
    branches.add(scratch.cells);
  }
  return branches.result(scratch.right);
}

/// Whether clearing and reading a cell for each code and class takes longer than sorting.
inline bool is_sparse(const counted_node& node, code_range range) {
  return (range.second - range.first) * node.totals.size() > k_cells_per_case * node.cases.size();
}

template <class Codes>
splitting_desc measure_discrete(const Codes& codes, const counted_node& node, code_range range,
                                count_scratch& scratch) {
  // A branch without cases would count as large where the least weight is none.
  return is_sparse(node, range) && node.min_weight > 0
             ? measure_present_values(codes, node, range, scratch)
             : measure_all_values(codes, node, range, scratch);
}

template <class Codes>
splitting_desc measure_continuous(const Codes& codes, const counted_node& node, code_range range,
                                  count_scratch& scratch) {
  return is_sparse(node, range) ? measure_by_keys(codes, node, range, scratch)
                                : measure_by_cells(codes, node, range, scratch);
}

}  // namespace orvik::impls::kernel
