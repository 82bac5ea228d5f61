// A discrete column of at most two known values and no unknown one: one bit a row, code bit + 1.
#pragma once

#include "impls/tables/column.h"
#include "zel/adt/bitmap.h"

namespace orvik::impls {

class column_bool : public column {
 public:
  using column::column;

  [[nodiscard]] column* clone(bool schema_only) const override;
  void reserve(unsigned long n) override { bits_.reserve(n); }
  unsigned long size() const override { return bits_.size(); }
  void push_back(const char* text) override { push_back(require_code(text)); }
  void push_back(code_t code) override { bits_.push_back(code > 1); }
  code_t get_row_index(row_t row) const override { return bit_codes(bits_.words())[row]; }
  void append(std::span<const code_t> codes) override;
  void bin_out(zel::inpout::obinstream& out) const override;
  void bin_in(zel::inpout::ibinstream& in) override;

  void sort(case_list::iterator first, case_list::iterator last) const override;
  void quality_measure(const column& class_column, double total_weight, case_list& cases,
                       const code_range& range, double min_weight, splitting_desc& desc,
                       bool copy) const override;

  code_view codes() const override { return {bits_.words(), 1}; }

 private:
  zel::adt::bitmap bits_;
};

}  // namespace orvik::impls
