// What value sets do for tables that are coded in pieces: one set of the values of all.
#include <algorithm>
#include <numeric>

#include "impls/values/o_set_typed.h"

namespace orvik::impls {

namespace {

/// The first of [at, end), which ascend, that is not below `value`. O(log of the way).
template <class Place, class T>
Place advance_to(Place at, Place end, const T& value) {
  std::ptrdiff_t step = 1;
  while (step < end - at && at[step] < value) {
    at += step;
    step *= 2;
  }
  return std::lower_bound(at, at + std::min(step + 1, end - at), value);
}

}  // namespace

std::unique_ptr<o_set> o_set::united_with(const o_set& other) const {
  std::unique_ptr<o_set> all(clone());
  all->set_has_null(has_null() || other.has_null());
  return all;
}

std::vector<code_t> o_set::codes_in(const o_set&) const { return {k_unknown}; }

template <class T>
std::unique_ptr<o_set> o_set_typed<T>::united_with(const o_set& other) const {
  if (ordered_) return o_set::united_with(other);
  const std::vector<T>& others = dynamic_cast<const o_set_typed&>(other).values_;
  auto all = std::make_unique<o_set_typed<T>>(type(), admits_null(), null_value(), owns_null_);
  all->set_has_null(has_null() || other.has_null());
  if (!admits_negative()) all->forbid_negative();
  all->values_.reserve(std::max(values_.size(), others.size()));
  std::set_union(values_.begin(), values_.end(), others.begin(), others.end(),
                 std::back_inserter(all->values_));
  all->frozen_ = true;
  return all;
}

template <class T>
std::vector<code_t> o_set_typed<T>::codes_in(const o_set& all) const {
  const std::vector<T>& others = dynamic_cast<const o_set_typed&>(all).values_;
  std::vector<code_t> codes(values_.size() + 1);
  if (ordered_) {
    std::iota(codes.begin(), codes.end(), code_t{0});
    return codes;
  }
  auto at = others.begin();
  for (std::size_t i = 0; i < values_.size(); ++i) {
    at = advance_to(at, others.end(), values_[i]);
    codes[i + 1] = static_cast<code_t>(at - others.begin()) + 1;
  }
  return codes;
}

#define ORVIK_MERGING_SET(T)                                                       \
  template std::unique_ptr<o_set> o_set_typed<T>::united_with(const o_set&) const; \
  template std::vector<code_t> o_set_typed<T>::codes_in(const o_set&) const

ORVIK_MERGING_SET(int);
ORVIK_MERGING_SET(unsigned int);
ORVIK_MERGING_SET(float);
ORVIK_MERGING_SET(double);
ORVIK_MERGING_SET(long double);
ORVIK_MERGING_SET(std::string);

#undef ORVIK_MERGING_SET

}  // namespace orvik::impls
