#include "impls/splitting/column_measure.h"

#include "impls/splitting/measure.h"
#include "impls/splitting/ranking.h"
#include "impls/splitting/split_choice.h"
#include "impls/tables/case_sort.h"
#include "impls/tables/column_bool.h"
#include "impls/tables/column_typed.h"
#include "impls/tables/mapped_column.h"

namespace orvik::impls {

namespace splitting {

namespace {

constexpr growth k_defaults;

scratch<double>& thread_scratch() {
  thread_local scratch<double> own;
  return own;
}

/// Sorting, for lists without many cases a code. Without `copy` the list itself is left sorted,
/// cases of unknown value first.
template <class Impurity, class Codes, class Classes>
splitting_desc cut_in_list_order(const Impurity& impurity, const column& measured,
                                 const Codes& codes, const weighed_cases<Classes>& node,
                                 const measured_node& of, scratch<double>& s) {
  s.sorter.start(of.cases.size());
  double unknown = 0;
  const auto take = [&](code_t code, const case_list::value_type& c) {
    if (code == k_unknown) {
      unknown += c.second;
    } else {
      s.sorter.add(code, std::uint32_t{node.classes[c.first]} - 1, c.second);
    }
  };
  if (!of.copy && measured.codes().bits <= 32) {
    kernel::sort_cases(codes, {of.cases.begin(), of.cases.end()}, of.range.first, take);
  } else {
    if (!of.copy) measured.sort(of.cases.begin(), of.cases.end());
    for (const auto& c : of.cases) take(codes[c.first], c);
  }
  node.start_known(s.known);
  const sorted_cases<false> cells{s.sorter.sorted(of.range)};
  return find_cut::in<Impurity, sorted_cases<false>, double>(impurity, cells, node, unknown, s);
}

template <class Impurity, class Codes, class Classes>
splitting_desc measure(const Impurity& impurity, const column& measured, const Codes& codes,
                       const weighed_cases<Classes>& node, const measured_node& of) {
  scratch<double>& s = thread_scratch();
  const growth& how = of.how == nullptr ? k_defaults : *of.how;
  const bool searches_cut = measured.type() == column::CONTINUOUS && !how.random_cuts;
  if (searches_cut && is_measured_by_sorting(of.cases.size(), of.range.second - of.range.first)) {
    return cut_in_list_order(impurity, measured, codes, node, of, s);
  }
  return measure_test(impurity, measured, codes, node, of.range, how, of.draw, s);
}

}  // namespace

splitting_desc measure_column(const column& measured, const measured_node& of,
                              model::split_type type) {
  if (measured.type() != column::DISCRETE && measured.type() != column::CONTINUOUS) return {};
  if (measured.codes().bits == 0 || of.range.second - of.range.first <= 1) return {};
  const std::size_t n_classes = of.class_column.values()->size_of_known();
  return visit_impurity(type, [&](const auto& impurity) {
    return visit_codes(measured.codes(), [&](const auto& codes) {
      return visit_class_codes(of.class_column.codes(), [&](const auto& classes) {
        const weighed_cases<std::remove_cvref_t<decltype(classes)>> node{
            {of.total_weight, of.min_weight, n_classes, n_classes,
             of.how != nullptr && of.how->free},
            {of.cases.begin(), of.cases.end()},
            classes};
        return measure(impurity, measured, codes, node, of);
      });
    });
  });
}

}  // namespace splitting

namespace {

column::splitting_desc quality_of(const column& measured, const splitting::measured_node& node) {
  return splitting::measure_column(measured, node, model::GAIN_RATIO);
}

}  // namespace

template <class IndexT>
void column_typed<IndexT>::quality_measure(const column& class_column, double total_weight,
                                           case_list& cases, const code_range& range,
                                           double min_weight, splitting_desc& desc,
                                           bool copy) const {
  desc = quality_of(*this, {class_column, total_weight, cases, range, min_weight, copy});
}

void column_bool::quality_measure(const column& class_column, double total_weight, case_list& cases,
                                  const code_range& range, double min_weight, splitting_desc& desc,
                                  bool copy) const {
  desc = quality_of(*this, {class_column, total_weight, cases, range, min_weight, copy});
}

void mapped_column::quality_measure(const column& class_column, double total_weight,
                                    case_list& cases, const code_range& range, double min_weight,
                                    splitting_desc& desc, bool copy) const {
  desc = quality_of(*this, {class_column, total_weight, cases, range, min_weight, copy});
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
