#include "impls/tables/column_bool.h"

#include <algorithm>
#include <stdexcept>

#include "impls/tables/branch_kernel.h"

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

void column_bool::require_discrete() const {
  if (type() == DISCRETE) return;
  throw std::runtime_error("[column_bool::partition] method not defined for column type '" +
                           get_type() + "'");
}

case_list* column_bool::partition(const case_list* cases, unsigned long branch, double total_weight,
                                  double& fraction, code_range& range, unsigned long) const {
  require_discrete();
  using rule = kernel::only_branch<kernel::code_branch>;
  std::vector<column::branch_cases> found =
      kernel::split(bit_codes(bits_.words()), *cases, 1, total_weight, rule{{}, branch - 1},
                    {kernel::branch_count{0, 0.0, branch, branch}});
  fraction = found[0].fraction;
  range = found[0].range;
  return found[0].cases.release();  // to the caller
}

std::vector<column::branch_cases> column_bool::split(const case_list& cases, unsigned long n,
                                                     double total_weight, unsigned long) const {
  require_discrete();
  std::vector<kernel::branch_count> starts(n);
  for (std::size_t b = 0; b < n; ++b) starts[b].lowest = starts[b].highest = b + 1;
  return kernel::split(bit_codes(bits_.words()), cases, n, total_weight, kernel::code_branch{},
                       std::move(starts));
}

case_list* column_bool::select(const case_list* cases, unsigned long branch, double unknown_factor,
                               unsigned long, bool with_unknown) const {
  require_discrete();
  using rule = kernel::only_branch<kernel::code_branch>;
  return kernel::select(bit_codes(bits_.words()), *cases, rule{{}, branch - 1}, unknown_factor,
                        with_unknown)
      .release();  // to the caller
}

void column_bool::sort(case_list::iterator first, case_list::iterator last) const {
  const bit_codes codes(bits_.words());
  std::stable_sort(first, last, [&codes](const auto& a, const auto& b) {
    return codes[a.first] < codes[b.first];
  });
}

}  // namespace orvik::impls
