#include "impls/tables/decimal.h"

#include <locale.h>
#include <stdlib.h>

#include <charconv>
#include <cmath>
#include <string>

namespace orvik::impls {

namespace {

/// The value of a text that from_chars calls out of range: it does not say on which side.
template <class T>
T out_of_range_value(const std::string& text) {
  static const locale_t c_locale = newlocale(LC_ALL_MASK, "C", nullptr);
  if constexpr (sizeof(T) == sizeof(float)) {
    return strtof_l(text.c_str(), nullptr, c_locale);
  } else if constexpr (sizeof(T) == sizeof(double)) {
    return strtod_l(text.c_str(), nullptr, c_locale);
  } else {
    return strtold_l(text.c_str(), nullptr, c_locale);
  }
}

bool starts_number(std::string_view text) {
  return !text.empty() && ((text[0] >= '0' && text[0] <= '9') || text[0] == '.');
}

}  // namespace

template <class T>
std::optional<T> parse_decimal(std::string_view text) {
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

template <class T>
std::string shortest_decimal(T value) {
  char room[64];  // a long double takes 28 at most
  return {room, std::to_chars(room, room + sizeof room, value).ptr};
}

template std::optional<float> parse_decimal<float>(std::string_view);
template std::optional<double> parse_decimal<double>(std::string_view);
template std::optional<long double> parse_decimal<long double>(std::string_view);
template std::string shortest_decimal<float>(float);
template std::string shortest_decimal<double>(double);
template std::string shortest_decimal<long double>(long double);

}  // namespace orvik::impls
