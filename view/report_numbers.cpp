#include "report_numbers.h"

#include <array>
#include <charconv>

namespace orvview {

std::string one_decimal(double x) {
  std::array<char, 330> room;  // the largest double has 309 digits before the point
  const auto [end, error] =
      std::to_chars(room.data(), room.data() + room.size(), x, std::chars_format::fixed, 1);
  std::string text(room.data(), end);
  if (text.ends_with(".0")) text.resize(text.size() - 2);
  return text;
}

std::string six_digits(double x) {
  std::array<char, 32> room;
  const auto [end, error] =
      std::to_chars(room.data(), room.data() + room.size(), x, std::chars_format::general, 6);
  return {room.data(), end};
}

}  // namespace orvview
