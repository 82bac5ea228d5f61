// A column whose codes lie in a mapped file. Its value set is in memory.
#pragma once

#include <memory>

#include "impls/tables/column.h"
#include "impls/tables/mapped_codes.h"

namespace orvik::impls {

/// Never grows; copies share the codes.
class mapped_column : public column {
 public:
  mapped_column(role type, std::string name, std::unique_ptr<o_set> values,
                std::shared_ptr<const mapped_codes> codes)
      : column(type, std::move(name), std::move(values)), codes_(std::move(codes)) {}

  [[nodiscard]] column* clone(bool schema_only) const override;
  unsigned long size() const override { return codes_->size(); }
  code_t get_row_index(row_t row) const override {
    return visit_codes(codes_->checked(), [row](const auto& codes) { return code_t{codes[row]}; });
  }
  void bin_out(zel::inpout::obinstream& out) const override;

  void sort(case_list::iterator first, case_list::iterator last) const override;
  void quality_measure(const column& class_column, double total_weight, case_list& cases,
                       const code_range& range, double min_weight, splitting_desc& desc,
                       bool copy) const override;

  /// Throws std::runtime_error where the file does not hold what it promised.
  code_view codes() const override { return codes_->checked(); }
  unsigned int code_bits() const override { return codes_->bits(); }
  bool is_mapped() const override { return true; }
  code_view unchecked_codes() const override { return codes_->unchecked(); }
  void release_pages() const override { codes_->release_pages(); }
  /// Whether they were looked through: nobody may have asked for them yet.
  bool is_checked() const { return codes_->is_checked(); }

 private:
  std::shared_ptr<const mapped_codes> codes_;
};

}  // namespace orvik::impls
