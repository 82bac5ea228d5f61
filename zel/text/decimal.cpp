#include "zel/text/decimal.h"

#include <locale.h>
#include <stdlib.h>

#include <array>
#include <cfloat>
#include <charconv>
#include <cmath>
#include <cstdint>
#include <limits>
#include <string>
#include <type_traits>

namespace zel::text {

namespace {

locale_t c_locale() {
  static const locale_t made = newlocale(LC_ALL_MASK, "C", nullptr);
  return made;
}

/// The value of a text that from_chars calls out of range: it does not say on which side.
template <class T>
T out_of_range_value(const std::string& text) {
  if constexpr (sizeof(T) == sizeof(float)) {
    return strtof_l(text.c_str(), nullptr, c_locale());
  } else if constexpr (sizeof(T) == sizeof(double)) {
    return strtod_l(text.c_str(), nullptr, c_locale());
  } else {
    return strtold_l(text.c_str(), nullptr, c_locale());
  }
}

/// 10 to the power i as T, exact: 5 to the power i fits the mantissa.
template <class T>
constexpr auto k_powers = [] {
  std::array<T, std::is_same_v<T, float> ? 11 : 18> powers{};
  T power = 1;
  for (T& p : powers) {
    p = power;
    power *= 10;
  }
  return powers;
}();

constexpr std::size_t k_short_text = 17;  // as many digits fit 64 bits

/// The common case: digits and a point in their midst, few enough that mantissa and power of ten
/// are exact in T, so that one division rounds to the nearest value. Nothing for other texts.
template <class T>
std::optional<T> parse_short(std::string_view text) {
  const bool negative = text.starts_with('-');
  if (negative) text.remove_prefix(1);
  if (text.empty() || text.size() > k_short_text || text[0] == '.' || text.back() == '.') return {};
  std::uint64_t mantissa = 0;
  std::size_t point = text.size() - 1;
  for (std::size_t i = 0; i < text.size(); ++i) {
    const unsigned digit = static_cast<unsigned char>(text[i]) - unsigned{'0'};
    if (digit <= 9) {
      mantissa = mantissa * 10 + digit;
    } else if (text[i] == '.' && point == text.size() - 1) {
      point = i;
    } else {
      return {};
    }
  }
  const std::size_t decimals = text.size() - 1 - point;
  constexpr int bits = std::numeric_limits<T>::digits;
  if ((bits < 64 && mantissa >> (bits % 64) != 0) || decimals >= k_powers<T>.size()) return {};
  const T magnitude = static_cast<T>(mantissa) / k_powers<T>[decimals];
  return negative && mantissa != 0 ? -magnitude : magnitude;
}

bool starts_number(std::string_view text) {
  return !text.empty() && ((text[0] >= '0' && text[0] <= '9') || text[0] == '.');
}

}  // namespace

template <class T>
std::optional<T> parse_decimal(std::string_view text) {
  if constexpr (FLT_EVAL_METHOD == 0) {  // nothing is rounded twice
    if (const std::optional<T> value = parse_short<T>(text)) return value;
  }
  std::string_view unsigned_part = text;
  if (!text.empty() && (text[0] == '+' || text[0] == '-')) unsigned_part.remove_prefix(1);
  if (!starts_number(unsigned_part)) return std::nullopt;

  T magnitude = 0;
  const char* const end = unsigned_part.data() + unsigned_part.size();
  const auto [stop, error] = std::from_chars(unsigned_part.data(), end, magnitude);
  if (stop != end || error == std::errc::invalid_argument) return std::nullopt;
  if (error == std::errc::result_out_of_range) {
    magnitude = out_of_range_value<T>(std::string(unsigned_part));
    if (!std::isfinite(magnitude)) return std::nullopt;
  }
  const bool negative = text[0] == '-' && magnitude != 0;
  return negative ? -magnitude : magnitude;
}

std::optional<unsigned long> parse_whole(std::string_view text) {
  unsigned long value = 0;
  const auto [end, error] = std::from_chars(text.data(), text.data() + text.size(), value);
  if (error != std::errc() || end != text.data() + text.size()) return std::nullopt;
  return value;
}

double leading_number(const char* text) { return strtod_l(text, nullptr, c_locale()); }

template <class T>
std::string shortest_decimal(T value) {
  char room[64];  // a long double takes 28 at most
  return {room, std::to_chars(room, room + sizeof room, value).ptr};
}

std::string one_decimal(double value) {
  char room[340];  // the largest double has 309 digits before its point
  const auto [end, error] =
      std::to_chars(room, room + sizeof room, value, std::chars_format::fixed, 1);
  return {room, end};
}

template std::optional<float> parse_decimal<float>(std::string_view);
template std::optional<double> parse_decimal<double>(std::string_view);
template std::optional<long double> parse_decimal<long double>(std::string_view);
template std::string shortest_decimal<float>(float);
template std::string shortest_decimal<double>(double);
template std::string shortest_decimal<long double>(long double);

}  // namespace zel::text
