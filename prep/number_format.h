// How numbers are written in a column: which mark stands before the decimals, which between
// thousands.
#pragma once

#include <array>
#include <cstdint>
#include <string>
#include <string_view>

#include "number.h"

namespace orvprep {

struct number_format {
  char decimal = '.';
  char thousands = 0;  ///< 0: none; ' ' stands for the narrow and the fixed blanks of UTF-8 too

  bool operator==(const number_format&) const = default;
};

/// All formats. Of those that fit a column the first holds.
inline constexpr std::array<number_format, 7> k_number_formats = {
    {{'.', 0}, {',', 0}, {'.', ','}, {',', '.'}, {'.', ' '}, {',', ' '}, {'.', '\''}}};

/// Formats as bits, in the order above.
using format_set = std::uint8_t;
inline constexpr format_set k_all_formats = (1U << k_number_formats.size()) - 1;
constexpr format_set bit_of(std::size_t format) { return static_cast<format_set>(1U << format); }

/// Those of a decimal mark.
constexpr format_set formats_with(char decimal) {
  format_set set = 0;
  for (std::size_t i = 0; i < k_number_formats.size(); ++i) {
    if (k_number_formats[i].decimal == decimal) set |= bit_of(i);
  }
  return set;
}

/// The number as the table holds it: with a point, and neither with marks between thousands nor
/// with a plus sign in front; empty where the marks do not stand as in `format`. Groups are of
/// three digits but the first, which has one to three and no zero in front.
std::string number_text(std::string_view text, number_format format);

/// What a text is as a number. The mark between thousands changes no value, so that it has one for
/// each decimal mark.
struct number_reading {
  format_set formats = 0;  ///< in which it is a number
  number by_point, by_comma;

  /// Whether the decimal mark must be known.
  bool differs() const {
    return by_point.kind != number_kind::none && by_comma.kind != number_kind::none &&
           by_point.value != by_comma.value;
  }
};
number_reading reading_of(std::string_view text);

/// What there is among numbers that are written as the table writes them: bits.
enum number_marks : unsigned {
  k_has_reals = 1,   ///< some that are no whole ones of 32 bits
  k_has_points = 2,  ///< some with a point that stands before decimals
  k_has_groups = 4,  ///< some whose point may stand between thousands
};

/// Reads a number with a point as the mark of decimals, if any, and no plus sign nor a sign before
/// a whole 0; each whole number has one text only. `value` is no -0; its bits are added to `marks`.
/// @return false for another text.
bool read_plain(std::string_view text, double& value, unsigned& marks);

}  // namespace orvprep
