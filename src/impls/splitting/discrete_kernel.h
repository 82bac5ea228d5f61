// The measure of a test with a branch for every value, on weighted cases. See split_kernel.h for
// the terms and for the order of additions.
#pragma once

#include <span>
#include <vector>

#include "impls/splitting/split_kernel.h"

namespace orvik::impls::kernel {

/// What the branches of a discrete test add up to.
struct branch_sums {
  std::size_t large = 0;  // branches of at least the least weight
  double infos = 0;
  info_sum split_info;

  /// `branch`: weights by class.
  void add(std::span<const double> branch, double min_weight) {
    double weight = 0;
    for (const double w : branch) weight += w;
    large += weight >= min_weight;
    if (weight != 0) infos += info(branch);
    split_info.add(weight);
  }
};

/// By cells for all codes: O(cases + codes * classes). @return the weight of unknown values.
template <class Codes, class Classes>
double add_all_branches(const Codes& codes, const Classes& classes, const case_list& cases,
                        const split_task& task, split_scratch& scratch, branch_sums& sums) {
  const std::size_t n = task.n_classes;
  const std::size_t n_codes = task.range.second - task.range.first;
  std::vector<double>& cells = scratch.cells;
  cells.assign(n_codes * n, 0.0);
  double unknown = 0;
  for (const auto& [row, weight] : cases) {
    const code_t code = codes[row];
    if (code == k_unknown) {
      unknown += weight;
      continue;
    }
    const std::size_t c = classes[row] - 1;
    cells[(code - task.range.first) * n + c] += weight;
    scratch.totals[c] += weight;
  }
  sums.split_info.add(unknown);
  for (std::size_t b = 0; b < n_codes; ++b) {
    sums.add(std::span<const double>(cells.data() + b * n, n), task.min_weight);
  }
  return unknown;
}

/// By stable sorting, for the cells that occur; the others would add nothing to any sum.
/// O(cases + classes).
template <class Codes, class Classes>
double add_present_branches(const Codes& codes, const Classes& classes, const case_list& cases,
                            const split_task& task, split_scratch& scratch, branch_sums& sums) {
  const double unknown = start_sorting(codes, classes, cases, scratch, scratch.totals);
  sums.split_info.add(unknown);
  const run_values values{scratch.sorter.sorted(task.range, task.n_classes)};
  for (value_group g = values.at(0); g.begin != g.end; g = values.at(g.end)) {
    scratch.cells.clear();
    values.visit_cells(g, [&](std::uint32_t, double w) { scratch.cells.push_back(w); });
    sums.add(scratch.cells, task.min_weight);
  }
  return unknown;
}

template <class Codes, class Classes>
splitting_desc measure_discrete(const Codes& codes, const Classes& classes, const case_list& cases,
                                const split_task& task, split_scratch& scratch) {
  const std::size_t n_cells = (task.range.second - task.range.first) * task.n_classes;
  scratch.totals.assign(task.n_classes, 0.0);
  branch_sums sums;
  // A branch without cases would count as large where the least weight is none.
  const bool sparse = n_cells > k_cells_per_case * cases.size() && task.min_weight > 0;
  const double unknown = sparse ? add_present_branches(codes, classes, cases, task, scratch, sums)
                                : add_all_branches(codes, classes, cases, task, scratch, sums);
  const double known = task.total_weight - unknown;
  if (known == 0 || sums.large < 2) return {};
  const double gain =
      (known / (unknown + known)) * (info(scratch.totals) / known - sums.infos / known);
  return {0, 0, gain, sums.split_info.value() / task.total_weight};
}

}  // namespace orvik::impls::kernel
