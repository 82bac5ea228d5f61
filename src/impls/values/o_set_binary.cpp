// Value sets to and from binary streams: the values in the order of their codes.
#include <algorithm>
#include <cmath>
#include <cstdint>
#include <cstring>
#include <limits>
#include <stdexcept>

#include "impls/values/o_set_typed.h"
#include "zel/inpout/binstream.h"
#include "zel/inpout/stream.h"
#include "zel/text/field_split.h"

namespace orvik::impls {

namespace {

constexpr char k_write_unfrozen[] = "oset::bin_out on a unfrozen object";
constexpr char k_out_of_order[] = "values out of order";
constexpr char k_other_values_than_declared[] = "other values than the type declares";
constexpr char k_no_value[] = "a value that no text is read as";

/// Whether a file has the long double as the processor makes it: it also takes other bytes.
bool is_usual(long double value) {
  std::uint64_t mantissa;
  std::uint16_t exponent;
  std::memcpy(&mantissa, &value, sizeof mantissa);
  std::memcpy(&exponent, reinterpret_cast<const char*>(&value) + sizeof mantissa, sizeof exponent);
  return (exponent & 0x7fff) != 0 || mantissa >> 63 == 0;
}

/// Whether texts are read as these ascending numbers: finite ones and no -0, and as an int not the
/// lowest.
template <class T>
bool are_read(const std::vector<T>& ascending) {
  using limits = std::numeric_limits<T>;
  if (ascending.empty()) return true;
  const T first = ascending.front(), last = ascending.back();
  if constexpr (std::is_integral_v<T>) {
    return std::is_unsigned_v<T> || first != limits::lowest();
  } else {
    if (!(first >= limits::lowest() && last <= limits::max())) return false;
    if (std::is_same_v<T, long double> && !std::ranges::all_of(ascending, is_usual)) return false;
    const auto [first_zero, end] = std::equal_range(ascending.begin(), ascending.end(), T{0});
    return std::none_of(first_zero, end, [](T zero) { return std::signbit(zero); });
  }
}

/// Whether a cell can hold the text: the reader of lines ends it at a NUL and a line feed, that of
/// cells drops outer blanks.
bool is_cell(std::string_view text) {
  return text.size() < zel::inpout::stream::k_max_line && !text.starts_with(' ') &&
         !text.ends_with(' ') && text.find('\n') == text.npos && !zel::text::holds_nul(text);
}

template <class T>
std::vector<T> read_values(zel::inpout::ibinstream& in, unsigned long n) {
  if constexpr (!std::is_same_v<T, std::string>) {
    return in.read_array<T>(n);
  } else {
    std::vector<std::string> values;  // grows with what is read
    for (unsigned long i = 0; i < n; ++i) values.push_back(in.read_text());
    return values;
  }
}

}  // namespace

void o_set::bin_out(zel::inpout::obinstream&) const {}

bool o_set::bin_in(zel::inpout::ibinstream&) { return true; }

template <class T>
void o_set_typed<T>::bin_out(zel::inpout::obinstream& out) const {
  require_frozen(k_write_unfrozen);
  out << true << static_cast<unsigned long>(values_.size());
  if constexpr (k_numeric) {
    out.write_array(std::span<const T>(values_));
  } else {
    for (const T& value : values_) out << value;
  }
}

template <class T>
bool o_set_typed<T>::bin_in(zel::inpout::ibinstream& in) {
  unsigned long n = 0;
  if (in.read_presence()) in >> n;
  return adopt(read_values<T>(in, n));
}

template <class T>
bool o_set_typed<T>::adopt(std::vector<T> values) {
  bool differ = true;
  if (ordered_) {
    zel::inpout::require(values == values_, k_other_values_than_declared);
  } else {
    for (std::size_t i = 1; i < values.size(); ++i) {
      const bool equal = k_numeric && values[i - 1] == values[i];
      zel::inpout::require(equal || values[i - 1] < values[i], k_out_of_order);
      differ = differ && !equal;
    }
    zel::inpout::require(may_be_read(values), k_no_value);
    values_ = std::move(values);
  }
  codes_.clear();
  frozen_ = true;
  return differ;
}

/// Whether texts are read as these ascending values.
template <class T>
bool o_set_typed<T>::may_be_read(const std::vector<T>& values) const {
  if constexpr (k_numeric) {
    return are_read(values);
  } else {
    return std::ranges::all_of(values, [this](const T& text) {
      return is_cell(text) && (owns_null_ || text != null_value());
    });
  }
}

#define ORVIK_BINARY_SET(T)                                              \
  template void o_set_typed<T>::bin_out(zel::inpout::obinstream&) const; \
  template bool o_set_typed<T>::bin_in(zel::inpout::ibinstream&);        \
  template bool o_set_typed<T>::adopt(std::vector<T>)

ORVIK_BINARY_SET(int);
ORVIK_BINARY_SET(unsigned int);
ORVIK_BINARY_SET(float);
ORVIK_BINARY_SET(double);
ORVIK_BINARY_SET(long double);
ORVIK_BINARY_SET(std::string);

#undef ORVIK_BINARY_SET

}  // namespace orvik::impls
