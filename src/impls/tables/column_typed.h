// A column that stores its codes in an array of IndexT.
#pragma once

#include <cstdint>
#include <vector>

#include "impls/tables/column.h"

namespace orvik::impls {

/// IndexT is an unsigned type of 8, 16, 32 or 64 bits.
template <class IndexT>
class column_typed : public column {
 public:
  using column::column;

  [[nodiscard]] column* clone(bool schema_only) const override;
  void reserve(unsigned long n) override { data_.reserve(n); }
  unsigned long size() const override { return data_.size(); }
  void push_back(const char* text) override { push_back(require_code(text)); }
  void push_back(code_t code) override { data_.push_back(static_cast<IndexT>(code)); }
  code_t get_row_index(row_t row) const override { return data_[row]; }
  void append(std::span<const code_t> codes) override;
  void bin_out(zel::inpout::obinstream& out) const override;
  void bin_in(zel::inpout::ibinstream& in) override;

  void sort(case_list::iterator first, case_list::iterator last) const override;
  void quality_measure(const column& class_column, double total_weight, case_list& cases,
                       const code_range& range, double min_weight, splitting_desc& desc,
                       bool copy) const override;

  code_view codes() const override { return {data_.data(), 8 * sizeof(IndexT)}; }

 private:
  std::vector<IndexT> data_;
};

extern template class column_typed<std::uint8_t>;
extern template class column_typed<std::uint16_t>;
extern template class column_typed<std::uint32_t>;
extern template class column_typed<std::uint64_t>;

}  // namespace orvik::impls
