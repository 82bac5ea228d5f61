#include "impls/tables/column_typed.h"

#include <algorithm>
#include <cassert>
#include <stdexcept>

#include "impls/tables/branch_kernel.h"
#include "impls/tables/case_sort.h"

namespace orvik::impls {

namespace {

/// A continuous branch limits the codes to a range that holds the threshold, a discrete one to
/// its own code: where the counts of the branches start from.
std::vector<kernel::branch_count> range_starts(bool continuous, std::size_t n, code_t threshold,
                                               code_t first_code) {
  std::vector<kernel::branch_count> starts(n);
  for (std::size_t b = 0; b < n; ++b) {
    starts[b].lowest = starts[b].highest = continuous ? threshold : first_code + b;
  }
  return starts;
}

}  // namespace

template <class IndexT>
column* column_typed<IndexT>::clone(bool schema_only) const {
  auto copy =
      std::make_unique<column_typed>(type(), name(), std::unique_ptr<o_set>(values()->clone()));
  if (!schema_only) copy->data_ = data_;
  return copy.release();
}

template <class IndexT>
void column_typed<IndexT>::append(std::span<const code_t> codes) {
  const std::size_t at = data_.size();
  data_.resize(at + codes.size());
  IndexT* const to = data_.data() + at;
  for (std::size_t i = 0; i < codes.size(); ++i) {
    assert(codes[i] <= std::numeric_limits<IndexT>::max());
    to[i] = static_cast<IndexT>(codes[i]);
  }
}

template <class IndexT>
void column_typed<IndexT>::require_branches() const {
  if (type() == CONTINUOUS || type() == DISCRETE || type() == CLASS) return;
  throw std::runtime_error("[column_typed::partition] method not defined for column type '" +
                           get_type() + "'");
}

template <class IndexT>
case_list* column_typed<IndexT>::partition(const case_list* cases, unsigned long branch,
                                           double total_weight, double& fraction, code_range& range,
                                           unsigned long threshold) const {
  require_branches();
  const bool continuous = type() == CONTINUOUS;
  const std::size_t wanted = branch - 1;
  const auto one = [&](auto rule) {
    return kernel::split(data_, *cases, 1, total_weight,
                         kernel::only_branch<decltype(rule)>{rule, wanted},
                         range_starts(continuous, 1, threshold, branch));
  };
  std::vector<column::branch_cases> found =
      continuous ? one(kernel::threshold_branch{threshold}) : one(kernel::code_branch{});
  fraction = found[0].fraction;
  range = found[0].range;
  return found[0].cases.release();  // to the caller
}

template <class IndexT>
std::vector<column::branch_cases> column_typed<IndexT>::split(const case_list& cases,
                                                              unsigned long n, double total_weight,
                                                              unsigned long threshold) const {
  require_branches();
  const bool continuous = type() == CONTINUOUS;
  std::vector<kernel::branch_count> starts = range_starts(continuous, n, threshold, 1);
  return continuous ? kernel::split(data_, cases, n, total_weight,
                                    kernel::threshold_branch{threshold}, std::move(starts))
                    : kernel::split(data_, cases, n, total_weight, kernel::code_branch{},
                                    std::move(starts));
}

// Deliberate: reports itself under the name of partition.
template <class IndexT>
case_list* column_typed<IndexT>::select(const case_list* cases, unsigned long branch,
                                        double unknown_factor, unsigned long threshold,
                                        bool with_unknown) const {
  require_branches();
  const auto chosen = [&](auto rule) {
    return kernel::select(data_, *cases, kernel::only_branch<decltype(rule)>{rule, branch - 1},
                          unknown_factor, with_unknown);
  };
  std::unique_ptr<case_list> list = type() == CONTINUOUS
                                        ? chosen(kernel::threshold_branch{threshold})
                                        : chosen(kernel::code_branch{});
  return list.release();  // to the caller
}

template <class IndexT>
void column_typed<IndexT>::sort(case_list::iterator first, case_list::iterator last) const {
  if constexpr (sizeof(IndexT) <= sizeof(std::uint32_t)) {
    kernel::sort_cases(data_, {first, last}, 1, [](code_t, const auto&) {});
  } else {
    std::stable_sort(first, last, [this](const auto& a, const auto& b) {
      return data_[a.first] < data_[b.first];
    });
  }
}

template class column_typed<std::uint8_t>;
template class column_typed<std::uint16_t>;
template class column_typed<std::uint32_t>;
template class column_typed<std::uint64_t>;

}  // namespace orvik::impls
