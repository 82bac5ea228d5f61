// How well a column splits the cases of a node: chooses the kernel for the column's kind and
// widths, and keeps the contract about the order of the caller's list.
#include <algorithm>

#include "impls/splitting/discrete_kernel.h"
#include "impls/splitting/split_choice.h"
#include "impls/splitting/split_kernel.h"
#include "impls/tables/case_sort.h"
#include "impls/tables/column_bool.h"
#include "impls/tables/column_typed.h"

namespace orvik::impls {

namespace {

using kernel::split_scratch;
using kernel::split_task;

split_scratch& thread_scratch() {
  thread_local split_scratch scratch;
  return scratch;
}

/// Sorting, for lists without many cases a code. Without `copy` the list itself is left sorted,
/// cases of unknown value first.
template <class Codes, class Classes>
column::splitting_desc measure_by_sorting(const column& self, const Codes& codes,
                                          const Classes& classes, case_list& cases,
                                          const split_task& task, bool copy) {
  split_scratch& scratch = thread_scratch();
  scratch.sorter.start(cases.size());
  double unknown = 0;
  const auto take = [&](code_t code, const case_list::value_type& c) {
    if (code == k_unknown) {
      unknown += c.second;
    } else {
      scratch.sorter.add(code, classes[c.first], c.second);
    }
  };
  if (!copy && self.codes().bits <= 32) {
    kernel::sort_cases(codes, {cases.begin(), cases.end()}, task.range.first, take);
  } else {
    if (!copy) self.sort(cases.begin(), cases.end());
    for (const auto& c : cases) take(codes[c.first], c);
  }
  return kernel::measure_sorted(scratch.sorter.sorted(task.range), unknown, task, scratch);
}

template <class Codes, class Classes>
column::splitting_desc measure(const column& self, const Codes& codes, const Classes& classes,
                               case_list& cases, const split_task& task, bool copy) {
  if (self.type() == column::DISCRETE) {
    return kernel::measure_discrete(codes, classes, cases, task, thread_scratch());
  }
  if (self.type() != column::CONTINUOUS) return {};
  const unsigned long n_codes = task.range.second - task.range.first;
  if (is_measured_by_sorting(cases.size(), n_codes)) {
    return measure_by_sorting(self, codes, classes, cases, task, copy);
  }
  return kernel::measure_counted(codes, classes, cases, task, thread_scratch());
}

column::splitting_desc measure_column(const column& self, const column& class_column,
                                      double total_weight, case_list& cases,
                                      const code_range& range, double min_weight, bool copy) {
  if (range.second - range.first <= 1) return {};
  const split_task task{total_weight, range, min_weight, class_column.values()->size_of_known()};
  return visit_codes(self.codes(), [&](const auto& codes) {
    return visit_class_codes(class_column.codes(), [&](const auto& classes) {
      return measure(self, codes, classes, cases, task, copy);
    });
  });
}

}  // namespace

template <class IndexT>
void column_typed<IndexT>::quality_measure(const column& class_column, double total_weight,
                                           case_list& cases, const code_range& range,
                                           double min_weight, splitting_desc& desc,
                                           bool copy) const {
  desc = measure_column(*this, class_column, total_weight, cases, range, min_weight, copy);
}

void column_bool::quality_measure(const column& class_column, double total_weight, case_list& cases,
                                  const code_range& range, double min_weight, splitting_desc& desc,
                                  bool copy) const {
  desc = measure_column(*this, class_column, total_weight, cases, range, min_weight, copy);
}

template void column_typed<std::uint8_t>::quality_measure(const column&, double, case_list&,
                                                          const code_range&, double,
                                                          splitting_desc&, bool) const;
template void column_typed<std::uint16_t>::quality_measure(const column&, double, case_list&,
                                                           const code_range&, double,
                                                           splitting_desc&, bool) const;
template void column_typed<std::uint32_t>::quality_measure(const column&, double, case_list&,
                                                           const code_range&, double,
                                                           splitting_desc&, bool) const;
template void column_typed<std::uint64_t>::quality_measure(const column&, double, case_list&,
                                                           const code_range&, double,
                                                           splitting_desc&, bool) const;

}  // namespace orvik::impls
