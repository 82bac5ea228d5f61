// The colours of the classes. Told apart also by eyes that do not tell red from green (Okabe and
// Ito 2008); further classes take them again.
#pragma once

#include <array>

#include "orvik/codes.h"

namespace orvik::view {

struct class_color {
  const char* web;
  int terminal;  // of the 256
};
inline constexpr std::array<class_color, 8> k_colors = {{{"#0072b2", 33},
                                                         {"#e69f00", 214},
                                                         {"#009e73", 36},
                                                         {"#cc79a7", 175},
                                                         {"#56b4e9", 117},
                                                         {"#d55e00", 202},
                                                         {"#b3a100", 142},
                                                         {"#7f7f7f", 244}}};

/// Place of a class's colour among them.
constexpr std::size_t color_of(orvik::code_t class_code) {
  return (class_code + k_colors.size() - 1) % k_colors.size();
}

}  // namespace orvik::view
