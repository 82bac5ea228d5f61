// Numbers as the forms print them, in any locale.
#pragma once

#include <string>

namespace orvik::view {

/// As "%.1f" prints a finite number, without a decimal that is 0.
std::string trimmed_decimal(double x);
/// As "%g" prints it.
std::string six_digits(double x);

}  // namespace orvik::view
