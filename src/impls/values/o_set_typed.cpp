#include "impls/values/o_set_typed.h"

#include <algorithm>
#include <array>
#include <cstdio>
#include <stdexcept>

#include "zel/text/decimal.h"
#include "zel/util/string_util.h"

namespace orvik::impls {

namespace {

constexpr char k_insert_frozen[] = "oset::insert() on a frozen object";
constexpr char k_not_declared[] = "o_set::insert() order string not found";
constexpr char k_enumerate_null[] = "[o_set::enumerate()] called with unadmitted null value";
constexpr char k_enumerate_repeated[] = "[o_set::enumerate()] called with repeated value ";
constexpr char k_order_unfrozen[] = "oset::get_order on a unfrozen object";
constexpr char k_value_unfrozen[] = "oset::get_value on a unfrozen object";
constexpr char k_clone_unfrozen[] = "oset::clone on a unfrozen object";
constexpr char k_rescale_unfrozen[] = "oset::rescale on a unfrozen object";
constexpr char k_rescale_string[] = "oset::rescale on a non-numeric object";
constexpr char k_number_of_missing[] = "oset::get_value_as_double on a missing value";
constexpr char k_number_of_string[] = "oset::get_value_as_double on a string o_set";
constexpr char k_mid_unfrozen[] = "oset::find_mid on a unfrozen object";
constexpr char k_mid_string[] = "oset::find_mid on a string o_set";
constexpr char k_no_such_code[] = "oset::get_value on a non-existing element ";
constexpr char k_not_an_int[] = ": not an int";
constexpr char k_not_a_float[] = ": not a float";
constexpr char k_not_a_double[] = ": not a double";
constexpr char k_negative[] = ": negative value in a column of weights";

[[noreturn]] void fail_on(std::string_view text, const char* what) {
  throw std::runtime_error(std::string(text) + what);
}

std::string mid_error(code_t lo, code_t hi) {
  return "[o_set::find_mid()] called for non-existing elements " + std::to_string(lo) + "-" +
         std::to_string(hi);
}

template <class T>
T parse_integer(std::string_view text) {
  // A sign alone is no number in a table.
  if (!text.empty() && (text.back() == '+' || text.back() == '-')) fail_on(text, k_not_an_int);
  T value;
  zel::util::string_util::str2int<T>(std::string(text).c_str(), value);
  return value;
}

template <class T>
T parse_floating(std::string_view text) {
  const std::optional<T> value = zel::text::parse_decimal<T>(text);
  if (!value) fail_on(text, std::is_same_v<T, float> ? k_not_a_float : k_not_a_double);
  return *value;
}

template <class T>
std::string format_number(const char* format, T value) {
  std::array<char, 64> room;
  const int length = std::snprintf(room.data(), room.size(), format, value);
  if (static_cast<std::size_t>(length) < room.size()) return std::string(room.data(), length);
  std::string large(length + 1, '\0');  // 1e300 has 301 digits before its point
  std::snprintf(large.data(), large.size(), format, value);
  large.resize(length);
  return large;
}

std::string_view without_outer_blanks(std::string_view text) {
  while (!text.empty() && text.front() == ' ') text.remove_prefix(1);
  while (!text.empty() && text.back() == ' ') text.remove_suffix(1);
  return text;
}

}  // namespace

template <class T>
T o_set_typed<T>::parse(std::string_view text) const {
  if constexpr (!k_numeric) {
    return std::string(text);
  } else {
    T value;
    if constexpr (std::is_integral_v<T>) {
      value = parse_integer<T>(text);
    } else {
      value = parse_floating<T>(text);
    }
    if (!admits_negative() && value < T{0}) fail_on(text, k_negative);
    return value;
  }
}

template <class T>
code_t o_set_typed<T>::declared_code(std::string_view text) const {
  const code_t code = declared_.find(text);
  if (code == 0) throw std::runtime_error(k_not_declared);
  return code;
}

template <class T>
code_t o_set_typed<T>::insert(const char* text) {
  if (frozen_ && !ordered_) throw std::runtime_error(k_insert_frozen);
  if (is_null(text)) return k_unknown;
  if (ordered_) return declared_code(text);
  T value = parse(text);
  const std::lock_guard guard(lock_);
  return codes_.try_emplace(std::move(value), codes_.size() + 1).first->second;
}

template <class T>
unsigned long o_set_typed<T>::size_of_known() const {
  return frozen_ || ordered_ ? values_.size() : codes_.size();
}

template <class T>
void o_set_typed<T>::unfreeze() {
  if (!frozen_ || ordered_) return;
  for (std::size_t i = 0; i < values_.size(); ++i) codes_.emplace(std::move(values_[i]), i + 1);
  values_.clear();
  frozen_ = false;
}

template <class T>
void o_set_typed<T>::require_frozen(const char* message) const {
  if (!frozen_) throw std::runtime_error(message);
}

template <class T>
void o_set_typed<T>::check_code(code_t code) const {
  if (code > values_.size()) throw std::runtime_error(k_no_such_code + std::to_string(code));
}

template <class T>
bool o_set_typed<T>::get_order(const char* text, code_t& code) const {
  require_frozen(k_order_unfrozen);
  code = k_unknown;
  if (!owns_null_ && text == null_value()) return has_null();
  if (ordered_) {
    code = declared_.find(text);
    return code != 0;
  }
  const T value = parse(text);
  const auto at = std::lower_bound(values_.begin(), values_.end(), value);
  code = static_cast<code_t>(at - values_.begin());
  if (at == values_.end() || *at != value) return false;
  ++code;
  return true;
}

template <class T>
std::unique_ptr<number_limits> o_set_typed<T>::limits_at(std::span<const code_t> codes) const {
  if constexpr (!k_numeric) {
    return nullptr;
  } else {
    if (!frozen_ || ordered_) return nullptr;
    std::vector<code_t> held;
    std::vector<T> values;
    for (const code_t code : codes) {
      if (code == k_unknown || code > values_.size()) continue;
      held.push_back(code);
      values.push_back(values_[code - 1]);
    }
    const auto parse_number = [](std::string_view text) {
      if constexpr (std::is_integral_v<T>) {
        return parse_integer<T>(text);
      } else {
        return parse_floating<T>(text);
      }
    };
    return std::make_unique<limits_of<T>>(held, std::move(values), null_value(), parse_number);
  }
}

template <class T>
std::string o_set_typed<T>::get_value(code_t code) const {
  if (code == k_unknown) return null_value();
  require_frozen(k_value_unfrozen);
  check_code(code);
  const T& value = values_[code - 1];
  if constexpr (!k_numeric) {
    return value;
  } else if constexpr (std::is_integral_v<T>) {
    return std::to_string(value);
  } else if constexpr (std::is_same_v<T, long double>) {
    return format_number("%Lf", value);
  } else {
    return format_number("%f", static_cast<double>(value));
  }
}

template <class T>
std::string o_set_typed<T>::get_exact_value(code_t code) const {
  if constexpr (std::is_floating_point_v<T>) {
    if (code != k_unknown) {
      require_frozen(k_value_unfrozen);
      check_code(code);
      return zel::text::shortest_decimal(values_[code - 1]);
    }
  }
  return get_value(code);
}

template <class T>
double o_set_typed<T>::get_value_as_double(code_t code) const {
  if (code == k_unknown) throw std::runtime_error(k_number_of_missing);
  if constexpr (k_numeric) {
    check_code(code);
    return static_cast<double>(values_[code - 1]);
  } else {
    throw std::runtime_error(k_number_of_string);
  }
}

template <class T>
void o_set_typed<T>::rescale(double factor) {
  if constexpr (k_numeric) {
    require_frozen(k_rescale_unfrozen);
    for (T& value : values_) value = static_cast<T>(value * factor);
  } else {
    throw std::runtime_error(k_rescale_string);
  }
}

template <class T>
bool o_set_typed<T>::has_same_values(const o_set& other) const {
  const auto* const same_type = dynamic_cast<const o_set_typed*>(&other);
  return same_type != nullptr && ordered_ == same_type->ordered_ && values_ == same_type->values_;
}

template <class T>
o_set* o_set_typed<T>::clone() const {
  require_frozen(k_clone_unfrozen);
  auto copy = std::make_unique<o_set_typed<T>>(type(), admits_null(), null_value(), owns_null_);
  copy->set_has_null(has_null());
  if (!admits_negative()) copy->forbid_negative();
  copy->declared_ = declared_;
  copy->values_ = values_;
  copy->frozen_ = true;
  copy->ordered_ = ordered_;
  return copy.release();
}

template <class T>
code_t o_set_typed<T>::code_of_null() const {
  code_t code;
  return owns_null_ && get_order(null_value().c_str(), code) ? code : k_unknown;
}

template <class T>
code_t o_set_typed<T>::find_mid(code_t lo, code_t hi) const {
  require_frozen(k_mid_unfrozen);
  if (lo == 0 || hi == 0) throw std::runtime_error(mid_error(lo, hi));
  if (lo > values_.size() || hi > values_.size() || lo > hi) {
    throw std::runtime_error(mid_error(lo - 1, hi - 1));
  }
  if (ordered_) return lo + (hi - lo) / 2;
  if constexpr (!k_numeric) {
    throw std::runtime_error(k_mid_string);
  } else {
    using wide = std::conditional_t<std::is_same_v<T, long double>, long double, double>;
    const wide a = static_cast<wide>(values_[lo - 1]);
    const wide b = static_cast<wide>(values_[hi - 1]);
    const wide larger = std::max(a, b);
    const wide smaller = std::min(a, b);
    // Half the distance first: the sum of two large values may overflow.
    wide mid = (larger - smaller) * wide{0.5} + smaller;
    // Nothing representable lies between, or the distance itself overflowed.
    if (!(mid < larger)) mid = smaller;
    const auto first = values_.begin() + static_cast<std::ptrdiff_t>(lo - 1);
    const auto last = values_.begin() + static_cast<std::ptrdiff_t>(hi);
    const auto above = std::upper_bound(first, last, mid, [](wide limit, const T& value) {
      return limit < static_cast<wide>(value);
    });
    return static_cast<code_t>(std::max(above, first + 1) - values_.begin());
  }
}

template <class T>
void o_set_typed<T>::enumerate(std::string_view list) {
  if constexpr (!k_numeric) {
    ordered_ = true;
    while (!list.empty()) {
      const std::size_t end = std::min(list.find(';'), list.size());
      const std::string_view value = without_outer_blanks(list.substr(0, end));
      list.remove_prefix(std::min(end + 1, list.size()));
      if (value == null_value() && !owns_null_) {
        if (!admits_null()) throw std::runtime_error(k_enumerate_null);
        continue;
      }
      if (declared_.find(value) != 0)
        throw std::runtime_error(k_enumerate_repeated + std::string(value));
      declared_.insert(value);
      values_.emplace_back(value);
    }
  }
}

template class o_set_typed<int>;
template class o_set_typed<unsigned int>;
template class o_set_typed<float>;
template class o_set_typed<double>;
template class o_set_typed<long double>;
template class o_set_typed<std::string>;

}  // namespace orvik::impls
