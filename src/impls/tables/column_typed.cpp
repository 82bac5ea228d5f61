#include "impls/tables/column_typed.h"

#include <algorithm>
#include <cassert>
#include <limits>

#include "impls/tables/case_sort.h"

namespace orvik::impls {

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
