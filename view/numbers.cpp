#include "numbers.h"

#include <array>
#include <charconv>

#include "zel/text/decimal.h"

namespace orvik::view {

std::string trimmed_decimal(double x) {
  std::string text = zel::text::one_decimal(x);
  if (text.ends_with(".0")) text.resize(text.size() - 2);
  return text;
}

std::string six_digits(double x) {
  std::array<char, 32> room;
  const auto [end, error] =
      std::to_chars(room.data(), room.data() + room.size(), x, std::chars_format::general, 6);
  return {room.data(), end};
}

}  // namespace orvik::view
