#include "number.h"

#include <charconv>
#include <cmath>
#include <limits>

namespace orvprep {

namespace {

bool is_digit(char c) { return c >= '0' && c <= '9'; }

constexpr double k_exact_whole = 9007199254740992;  // 2^53

}  // namespace

number number_of(std::string_view text) {
  std::string_view digits = text;
  if (!digits.empty() && (digits[0] == '+' || digits[0] == '-')) digits.remove_prefix(1);
  if (digits.empty() || (!is_digit(digits[0]) && digits[0] != '.')) return {};
  if (digits.size() > 1 && digits[0] == '0' && is_digit(digits[1])) return {};
  // from_chars knows no "+".
  const std::string_view plain = text[0] == '+' ? digits : text;
  number result;
  const auto [end, error] =
      std::from_chars(plain.data(), plain.data() + plain.size(), result.value);
  if (error != std::errc{} || end != plain.data() + plain.size()) return {};
  const bool whole = digits.find_first_not_of("0123456789") == digits.npos;
  if (whole && std::abs(result.value) > k_exact_whole) return {};
  const bool fits = result.value >= std::numeric_limits<int>::min() &&
                    result.value <= std::numeric_limits<int>::max();
  result.kind = whole && fits ? number_kind::integer : number_kind::real;
  return result;
}

}  // namespace orvprep
