// Decimal notation of the numbers in data: an optional sign, digits with an optional point, an
// optional exponent, nothing else. Independent of the process's locale.
#pragma once

#include <optional>
#include <string>
#include <string_view>

namespace zel::text {

/// The nearest value of `text`; T is float, double or long double.
/// Values too small for T become the nearest one (denormal or 0), and -0 becomes 0.
/// @return nothing for another notation (also nan, inf and hexadecimal forms) and for a value
/// beyond the largest finite one.
template <class T>
std::optional<T> parse_decimal(std::string_view text);

/// The number of digits and nothing else.
/// @return nothing for another text and for what exceeds an unsigned long.
std::optional<unsigned long> parse_whole(std::string_view text);

/// The number that `text` begins with, behind white space, as the C library reads it; 0 where it
/// begins with none.
double leading_number(const char* text);

/// The shortest text that parse_decimal<T>() reads back to `value`, which must be finite.
template <class T>
std::string shortest_decimal(T value);

/// `value` with one digit behind the point: "12.0".
std::string one_decimal(double value);

extern template std::optional<float> parse_decimal<float>(std::string_view);
extern template std::optional<double> parse_decimal<double>(std::string_view);
extern template std::optional<long double> parse_decimal<long double>(std::string_view);
extern template std::string shortest_decimal<float>(float);
extern template std::string shortest_decimal<double>(double);
extern template std::string shortest_decimal<long double>(long double);

}  // namespace zel::text
