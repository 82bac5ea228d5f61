// What a text is as a number.
#pragma once

#include <string_view>

namespace orvprep {

enum class number_kind : unsigned char {
  none,     ///< a text
  integer,  ///< a whole number of 32 bits with a sign
  real,     ///< another decimal number, perhaps with an exponent
};

struct number {
  number_kind kind = number_kind::none;
  double value = 0;
};

/// Decimal notation with "." and at most one sign in front. A number with a needless zero in front
/// ("007") is a text: a code, whose zeros mean something. So are whole numbers that a double
/// cannot tell from their neighbours, and what overflows or vanishes. -0 keeps its sign.
number number_of(std::string_view text);

}  // namespace orvprep
