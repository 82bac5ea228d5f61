#include "number.h"

#include <algorithm>
#include <cmath>
#include <limits>
#include <optional>

#include "zel/text/decimal.h"

namespace orvprep {

namespace {

bool is_digit(char c) { return c >= '0' && c <= '9'; }

/// Whether the digits in front of an exponent are all 0; else a value of 0 is one that vanished.
bool is_zero(std::string_view digits) {
  return digits.substr(0, digits.find_first_of("eE")).find_first_not_of("0.") == digits.npos;
}

constexpr double k_exact_whole = 9007199254740992;  // 2^53

}  // namespace

number number_of(std::string_view text) {
  const std::optional<double> value = zel::text::parse_decimal<double>(text);
  if (!value) return {};
  const bool negative = text[0] == '-';
  const std::string_view digits = text.substr(negative || text[0] == '+' ? 1 : 0);
  if (digits.size() > 1 && digits[0] == '0' && is_digit(digits[1])) return {};
  if (*value == 0 && !is_zero(digits)) return {};
  const bool whole = std::ranges::all_of(digits, is_digit);
  if (whole && std::abs(*value) > k_exact_whole) return {};
  const bool fits =
      *value >= std::numeric_limits<int>::min() && *value <= std::numeric_limits<int>::max();
  return {whole && fits ? number_kind::integer : number_kind::real,
          negative ? -std::abs(*value) : *value};
}

}  // namespace orvprep
