#include "impls/tables/column_bool.h"

#include <algorithm>

namespace orvik::impls {

column* column_bool::clone(bool schema_only) const {
  auto copy =
      std::make_unique<column_bool>(type(), name(), std::unique_ptr<o_set>(values()->clone()));
  if (!schema_only) copy->bits_ = bits_;
  return copy.release();
}

void column_bool::append(std::span<const code_t> codes) {
  constexpr std::size_t word_bits = 64;
  for (std::size_t first = 0; first < codes.size(); first += word_bits) {
    const std::span<const code_t> some =
        codes.subspan(first).first(std::min(word_bits, codes.size() - first));
    unsigned long bits = 0;
    for (std::size_t i = 0; i < some.size(); ++i) bits |= (some[i] > 1 ? 1UL : 0UL) << i;
    bits_.append(bits, static_cast<unsigned>(some.size()));
  }
}

void column_bool::sort(case_list::iterator first, case_list::iterator last) const {
  const bit_codes codes(bits_.words());
  std::stable_sort(first, last, [&codes](const auto& a, const auto& b) {
    return codes[a.first] < codes[b.first];
  });
}

}  // namespace orvik::impls
