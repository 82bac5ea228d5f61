#include "impls/growing/growing_plan.h"

#include <bit>
#include <cassert>

namespace orvik::impls {

namespace {

constexpr unsigned int k_few_flags = 3;  // not worth a word a row
constexpr std::size_t k_few_set = 4;     // in a row, on average

bool is_flag(const growing_plan::attribute& a) {
  return a.usable && a.codes.bits == 1 && a.values->type() == column::DISCRETE;
}

}  // namespace

growing_plan::growing_plan(const table& t, model::split_type type, double min_weight,
                           const zel::adt::bitmap* usable, zel::util::run_context& run,
                           const growth& how)
    : table_(t),
      rules_{type, min_weight, usable, usable == nullptr ? t.n_attributes() : usable->count(), how},
      run_(run) {
  assert(usable == nullptr || usable->size() == t.n_attributes());
  for (unsigned int i = 0; i < t.n_attributes(); ++i) {
    const column& c = t.column_of(i);
    const bool may_test = usable == nullptr || (*usable)[i];
    const bool may_be_unknown = c.values()->has_null();
    attributes_.push_back({&c, c.codes(), may_test, may_be_unknown, k_no_flag});
    may_count_ = may_count_ && c.codes().bits <= 32;
    order_matters_ = order_matters_ || (may_test && may_be_unknown);
  }
  gather_flags();
}

void growing_plan::gather_flags() {
  unsigned int n = 0;
  for (const attribute& a : attributes_) n += is_flag(a);
  if (n <= k_few_flags) return;
  flags_.resize(table_.class_column().size());
  unsigned int flag = 0;
  for (attribute& a : attributes_) {
    if (!is_flag(a) || flag == k_no_flag) continue;
    const bit_codes codes(static_cast<const unsigned long*>(a.codes.data));
    for (row_t row = 0; row < flags_.size(); ++row) {
      flags_[row] |= std::uint64_t{codes[row] - 1} << flag;
    }
    a.flag = flag++;
  }
  std::size_t n_set = 0;
  for (const std::uint64_t of_row : flags_)
    n_set += static_cast<std::size_t>(std::popcount(of_row));
  few_are_set_ = n_set <= k_few_set * flags_.size();
}

}  // namespace orvik::impls
