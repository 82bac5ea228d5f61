#include "impls/growing/growing_plan.h"

#include <algorithm>
#include <bit>
#include <cassert>
#include <numeric>

#include "zel/util/run_context.h"

namespace orvik::impls {

namespace {

constexpr unsigned int k_few_flags = 3;  // not worth a word a row
constexpr std::size_t k_few_set = 4;     // in a row, on average

bool is_flag(const growing_plan::attribute& a) {
  return a.usable && a.codes.bits == 1 && a.codes.data != nullptr &&
         a.values->type() == column::DISCRETE;
}

/// Those with whom a tree is grown by columns; null: nobody.
const zel::util::team* fellows(const zel::util::run_context& run, const growth& how) {
  return run.steps.wanted && !how.draws() ? run.companions : nullptr;
}

}  // namespace

growing_plan::growing_plan(const table& t, model::split_type type, double min_weight,
                           const zel::adt::bitmap* usable, zel::util::run_context& run,
                           const growth& how)
    : table_(t),
      rules_{type, min_weight, usable, usable == nullptr ? t.n_attributes() : usable->count(), how},
      run_(run) {
  assert(usable == nullptr || usable->size() == t.n_attributes());
  const zel::util::team* const all = fellows(run, how);
  for (unsigned int i = 0; i < t.n_attributes(); ++i) {
    const column& c = t.column_of(i);
    const bool may_test = usable == nullptr || (*usable)[i];
    const bool may_be_unknown = c.values()->has_null();
    attributes_.push_back(
        {&c, {nullptr, c.code_bits()}, may_test, may_be_unknown, k_no_flag, /*owner=*/0});
    may_count_ = may_count_ && c.code_bits() <= 32;
    order_matters_ = order_matters_ || (may_test && may_be_unknown);
  }
  is_parted_ = all != nullptr && t.is_mapped();
  if (all != nullptr) deal_out(all->size());
  const unsigned long rank = all == nullptr ? 0 : all->rank();
  for (attribute& a : attributes_) {
    if (!is_parted_ || a.owner == rank) a.codes = a.values->codes();
  }
  gather_flags(table_.class_column().size());
}

growing_plan::growing_plan(const growing_plan& of, std::vector<attribute> attributes,
                           unsigned long n_rows)
    : table_(of.table_),
      rules_(of.rules_),
      run_(of.run_),
      attributes_(std::move(attributes)),
      may_count_(of.may_count_),
      order_matters_(of.order_matters_),
      leaves_out_empty_(of.leaves_out_empty_),
      empties_lists_(of.empties_lists_) {
  for (attribute& a : attributes_) a.flag = k_no_flag;
  gather_flags(n_rows);
}

growing_plan growing_plan::whole() const {
  std::vector<attribute> all = attributes_;
  for (attribute& a : all) a.codes = a.values->codes();
  return {*this, std::move(all), table_.class_column().size()};
}

growing_plan growing_plan::on_cells(std::span<const code_view> codes, unsigned long n_rows) const {
  std::vector<attribute> all = attributes_;
  for (std::size_t i = 0; i < all.size(); ++i) all[i].codes = codes[i];
  return {*this, std::move(all), n_rows};
}

/// Columns of many values, which take longest, are dealt out first.
void growing_plan::deal_out(unsigned long n_processes) {
  std::vector<unsigned long> by_values(attributes_.size());
  std::iota(by_values.begin(), by_values.end(), 0UL);
  std::ranges::stable_sort(by_values, std::ranges::greater(), [&](unsigned long i) {
    const attribute& a = attributes_[i];
    return a.usable ? a.values->values()->size_of_known() : 0;
  });
  for (unsigned long i = 0; i < by_values.size(); ++i) {
    attributes_[by_values[i]].owner = i % n_processes;
  }
}

void growing_plan::gather_flags(unsigned long n_rows) {
  unsigned int n = 0;
  for (const attribute& a : attributes_) n += is_flag(a);
  if (n <= k_few_flags) return;
  flags_.resize(n_rows);
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
