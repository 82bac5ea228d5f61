#include "impls/tables/mapped_column.h"

#include <algorithm>

#include "impls/tables/case_sort.h"
#include "zel/inpout/binstream.h"

namespace orvik::impls {

column* mapped_column::clone(bool schema_only) const {
  std::unique_ptr<o_set> values_copy(values()->clone());
  if (schema_only) return column::over(std::move(values_copy), name(), get_type()).release();
  return new mapped_column(type(), name(), std::move(values_copy), codes_);
}

/// As the column of the same width in memory writes them.
void mapped_column::bin_out(zel::inpout::obinstream& out) const {
  const code_view& view = codes_->checked();
  out << size();
  out.write_array(
      std::span(static_cast<const char*>(view.data), code_bytes(view.bits, codes_->size())));
}

void mapped_column::sort(case_list::iterator first, case_list::iterator last) const {
  visit_codes(codes_->checked(), [&](const auto& codes) {
    std::stable_sort(first, last, [&codes](const auto& a, const auto& b) {
      return codes[a.first] < codes[b.first];
    });
  });
}

}  // namespace orvik::impls
