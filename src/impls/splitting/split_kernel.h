// The arithmetic of split measures: pure functions on codes, weights and scratch memory.
//
// Terms (Quinlan, C4.5: Programs for Machine Learning, 1993): W is the weight of all cases, U of
// those whose value is unknown, K = W - U. Ties between attributes are frequent and the last bit
// of a sum decides them, so the order of every addition here is part of the result: cases in
// list order (sorted lists in code order), cells from the lowest code up, branches before the
// division by K.
#pragma once

#include <algorithm>
#include <cmath>
#include <cstdint>
#include <span>
#include <vector>

#include "impls/splitting/code_sort.h"
#include "impls/splitting/count_logs.h"
#include "impls/tables/column.h"

namespace orvik::impls::kernel {

using splitting_desc = column::splitting_desc;

/// A continuous branch needs a tenth of the known weight a class, between m and this.
constexpr double k_largest_min_split = 25.0;
constexpr double k_min_split_share = 0.1;

/// Sums S log2 S - sum of w log2 w over weights w with sum S: the entropy of their distribution
/// times S.
class info_sum {
 public:
  void add(double w) {
    total_ += w;
    if (w != 0) logs_ += terms_.of(w);
  }
  double value() const { return terms_.of(total_) - logs_; }

 private:
  const count_logs& terms_ = count_logs::get();
  double total_ = 0;
  double logs_ = 0;
};

inline double info(std::span<const double> weights) {
  info_sum sum;
  for (const double w : weights) sum.add(w);
  return sum.value();
}

inline double info(double a, double b, double c) {
  info_sum sum;
  sum.add(a);
  sum.add(b);
  sum.add(c);
  return sum.value();
}

/// Class code of a value whose cases are of several classes, or of a value without cases.
constexpr std::uint32_t k_mixed = 0xffffffff;
constexpr std::uint32_t k_absent = 0;

/// The cases of one known value, as a sweep meets them; those of a source end with an empty one.
struct value_group {
  std::size_t begin, end;
  code_t code;
  std::uint32_t only;  // the class of all its cases (or that class's place), or k_mixed
};

/// Cells for all codes, from this number of them a case on, take longer to clear and to read than
/// the cases take to sort, and more memory.
constexpr std::size_t k_cells_per_case = 4;

/// Memory of one measurement, kept by each thread. Class arrays have no slot for class code 0:
/// class c is at c - 1.
struct split_scratch {
  std::vector<double> cells;               // by code of the range, then by class
  std::vector<std::uint32_t> value_class;  // by code of the range: its class, k_mixed, k_absent
  std::vector<double> totals, left, right;
  code_sorter sorter;
};

/// What the measures have in common.
struct split_task {
  double total_weight;  // W
  code_range range;     // of the known codes
  double min_weight;    // m
  std::size_t n_classes;
};

/// Finds the best cut of a continuous attribute while its known values pass from the right side
/// to the left in ascending order. A cut inside a run of one class is passed over: a neighbour
/// of the run is at least as good (Fayyad and Irani 1992).
class cut_search {
 public:
  /// `right` holds the known weight of every class, `left` is zero.
  cut_search(const split_task& task, double unknown, std::span<double> left,
             std::span<double> right)
      : task_(task),
        unknown_(unknown),
        known_(task.total_weight - unknown),
        left_(left),
        right_(right) {
    const double share = k_min_split_share * known_ / static_cast<double>(task.n_classes);
    min_split_ = task.min_weight >= share ? task.min_weight : std::min(k_largest_min_split, share);
  }

  /// Whether two branches of the least weight fit at all.
  bool possible() const { return !(2 * task_.min_weight > known_); }

  void begin(std::uint32_t first_class) {
    base_ = info(right_) / known_;
    run_class_ = first_class;
    run_is_pure_ = true;
  }

  /// Moves weight of class `c` to the left side.
  void move(std::uint32_t c, double weight) {
    right_[c - 1] -= weight;
    left_[c - 1] += weight;
    left_weight_ += weight;
  }
  /// Tells that cases of class `c`, whatever their weight, were moved.
  void note_class(std::uint32_t c) { run_is_pure_ = run_is_pure_ && c == run_class_; }

  enum class step { TOO_LIGHT, END, CUT };
  /// Whether a cut may lie behind the cases moved so far. Counts it.
  step next_step() {
    if (left_weight_ < min_split_) return step::TOO_LIGHT;
    if (left_weight_ > known_ - min_split_) return step::END;
    ++tries_;
    return step::CUT;
  }
  /// Whether no case since the last evaluated cut is of another class than `run_class`.
  bool run_is_pure() const { return run_is_pure_; }
  std::uint32_t run_class() const { return run_class_; }

  /// Weighs the cut between two codes; cases of `next_class` come next.
  void evaluate(code_t left_code, code_t right_code, std::uint32_t next_class) {
    run_class_ = next_class;
    run_is_pure_ = true;
    const double gain =
        (known_ / (unknown_ + known_)) * (base_ - (info(left_) + info(right_)) / known_);
    if (!(gain > best_.gain)) return;  // of equal gains the lowest cut
    best_ = {left_code, right_code, gain, 0};
    best_left_weight_ = left_weight_;
  }

  /// The best cut, its gain less the cost of choosing among the tries (Quinlan 1996).
  splitting_desc result() const {
    const double penalty = log2_of(static_cast<double>(tries_)) / task_.total_weight;
    if (penalty >= best_.gain) return {};
    splitting_desc found = best_;
    found.gain -= penalty;
    found.split_info =
        info(unknown_, best_left_weight_, known_ - best_left_weight_) / task_.total_weight;
    return found;
  }

 private:
  const split_task& task_;
  double unknown_, known_;
  std::span<double> left_, right_;
  double min_split_;
  double base_ = 0;
  double left_weight_ = 0;
  unsigned long tries_ = 0;
  std::uint32_t run_class_ = 0;
  bool run_is_pure_ = true;
  splitting_desc best_;
  double best_left_weight_ = 0;
};

/// By sorting: `cases` are the known cases in ascending order of code, `unknown` the weight of
/// the others. O(cases + cuts * classes).
inline splitting_desc measure_sorted(std::span<const coded_case> cases, double unknown,
                                     const split_task& task, split_scratch& scratch) {
  scratch.left.assign(task.n_classes, 0.0);
  scratch.right.assign(task.n_classes, 0.0);
  for (const coded_case& c : cases) scratch.right[c.class_code - 1] += c.weight;
  cut_search search(task, unknown, scratch.left, scratch.right);
  if (cases.empty() || !search.possible()) return {};
  search.begin(cases[0].class_code);

  std::size_t i = 0;
  for (;;) {
    const code_t code = cases[i].code;
    for (; i < cases.size() && cases[i].code == code; ++i) {
      search.move(cases[i].class_code, cases[i].weight);
      search.note_class(cases[i].class_code);
    }
    if (i == cases.size()) break;  // nothing remains on the right
    const cut_search::step step = search.next_step();
    if (step == cut_search::step::TOO_LIGHT) continue;
    if (step == cut_search::step::END) break;
    const code_t next = cases[i].code;
    if (search.run_is_pure()) {
      std::size_t j = i;
      while (j < cases.size() && cases[j].code == next && cases[j].class_code == search.run_class())
        ++j;
      if (j == cases.size() || cases[j].code != next) continue;  // the run goes on
    }
    search.evaluate(code, next, cases[i].class_code);
  }
  return search.result();
}

/// The classes of every code of the range, counted.
struct cell_values {
  std::span<const double> cells;  // by code, then by class
  std::span<const std::uint32_t> value_class;
  std::size_t n_classes;
  code_t lo;

  value_group at(std::size_t code) const {
    while (code < value_class.size() && value_class[code] == k_absent) ++code;
    if (code == value_class.size()) return {code, code, 0, k_mixed};
    return {code, code + 1, code + lo, value_class[code]};
  }
  /// Calls visit(class, weight) for the cells of a value, in the order of the classes.
  template <class Visit>
  void visit_cells(const value_group& group, const Visit& visit) const {
    for (std::uint32_t c = 1; c <= n_classes; ++c) {
      const double w = cells[group.begin * n_classes + c - 1];
      if (w != 0) visit(c, w);
    }
  }
};

/// The same cells as runs of cases sorted by code, then by class.
struct run_values {
  std::span<const coded_case> cases;

  value_group at(std::size_t begin) const {
    if (begin == cases.size()) return {begin, begin, 0, k_mixed};
    const coded_case& first = cases[begin];
    std::size_t end = begin + 1;
    while (end < cases.size() && cases[end].code == first.code) ++end;
    const bool mixed = cases[end - 1].class_code != first.class_code;
    return {begin, end, first.code, mixed ? k_mixed : first.class_code};
  }
  template <class Visit>
  void visit_cells(const value_group& group, const Visit& visit) const {
    for (std::size_t i = group.begin; i < group.end;) {
      const std::uint32_t c = cases[i].class_code;
      double w = 0;
      for (; i < group.end && cases[i].class_code == c; ++i) w += cases[i].weight;
      if (w != 0) visit(c, w);
    }
  }
};

/// Moves value after value, class by class; scratch.right holds the known weight of every class.
template <class Values>
splitting_desc sweep(const Values& values, double unknown, const split_task& task,
                     split_scratch& scratch) {
  cut_search search(task, unknown, scratch.left, scratch.right);
  value_group group = values.at(0);
  if (group.begin == group.end || !search.possible()) return {};
  search.begin(group.only);
  for (;;) {
    values.visit_cells(group, [&](std::uint32_t c, double w) { search.move(c, w); });
    // A mixed value is no pure run: k_mixed is not the class of any run it could continue.
    search.note_class(group.only == k_mixed ? k_absent : group.only);
    const value_group next = values.at(group.end);
    if (next.begin == next.end) break;
    const cut_search::step step = search.next_step();
    if (step == cut_search::step::END) break;
    if (step == cut_search::step::CUT &&
        !(search.run_is_pure() && next.only == search.run_class())) {
      search.evaluate(group.code, next.code, next.only);
    }
    group = next;
  }
  return search.result();
}

/// With cells for all codes: O(cases + codes * classes).
template <class Codes, class Classes>
splitting_desc measure_all_cells(const Codes& codes, const Classes& classes, const case_list& cases,
                                 const split_task& task, split_scratch& scratch) {
  const std::size_t n = task.n_classes;
  const std::size_t n_codes = task.range.second - task.range.first;
  scratch.cells.assign(n_codes * n, 0.0);
  scratch.value_class.assign(n_codes, k_absent);
  double unknown = 0;
  for (const auto& [row, weight] : cases) {
    const code_t code = codes[row];
    if (code == k_unknown) {
      unknown += weight;
      continue;
    }
    const std::uint32_t c = classes[row];
    const std::size_t at = code - task.range.first;
    scratch.cells[at * n + c - 1] += weight;
    std::uint32_t& seen = scratch.value_class[at];
    seen = seen == k_absent || seen == c ? c : k_mixed;
  }
  for (std::size_t i = 0; i < scratch.cells.size(); i += n) {
    for (std::size_t c = 0; c < n; ++c) scratch.right[c] += scratch.cells[i + c];
  }
  const cell_values values{scratch.cells, scratch.value_class, n, task.range.first};
  return sweep(values, unknown, task, scratch);
}

/// The known cases to the sorter and, class by class, to `totals`, which may be empty.
/// @return the weight of the others.
template <class Codes, class Classes>
double start_sorting(const Codes& codes, const Classes& classes, const case_list& cases,
                     split_scratch& scratch, std::span<double> totals) {
  scratch.sorter.start(cases.size());
  double unknown = 0;
  for (const auto& [row, weight] : cases) {
    const code_t code = codes[row];
    if (code == k_unknown) {
      unknown += weight;
    } else {
      scratch.sorter.add(code, classes[row], weight);
      if (!totals.empty()) totals[classes[row] - 1] += weight;
    }
  }
  return unknown;
}

/// With cells that occur: O(cases + codes + cuts * classes).
template <class Codes, class Classes>
splitting_desc measure_present_cells(const Codes& codes, const Classes& classes,
                                     const case_list& cases, const split_task& task,
                                     split_scratch& scratch) {
  const double unknown = start_sorting(codes, classes, cases, scratch, {});
  const run_values values{scratch.sorter.sorted(task.range, task.n_classes)};
  for (value_group g = values.at(0); g.begin != g.end; g = values.at(g.end)) {
    values.visit_cells(g, [&](std::uint32_t c, double w) { scratch.right[c - 1] += w; });
  }
  return sweep(values, unknown, task, scratch);
}

/// By counting the classes of every code of the range, for many cases a code.
template <class Codes, class Classes>
splitting_desc measure_counted(const Codes& codes, const Classes& classes, const case_list& cases,
                               const split_task& task, split_scratch& scratch) {
  const std::size_t n_cells = (task.range.second - task.range.first) * task.n_classes;
  scratch.left.assign(task.n_classes, 0.0);
  scratch.right.assign(task.n_classes, 0.0);
  return n_cells > k_cells_per_case * cases.size()
             ? measure_present_cells(codes, classes, cases, task, scratch)
             : measure_all_cells(codes, classes, cases, task, scratch);
}

}  // namespace orvik::impls::kernel
