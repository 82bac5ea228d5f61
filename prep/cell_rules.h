// How the text of a cell is taken and written.
#pragma once

#include <algorithm>
#include <string>
#include <string_view>
#include <vector>

#include "zel/text/message.h"

namespace orvprep {

/// What stands for an unknown value in what is written.
inline constexpr char k_unknown[] = "?";

struct cell_rules {
  std::vector<std::string> unknown = {"", k_unknown, "NA"};
  char decimal_point = '.';
  char out_separator = ',';
  std::string replacement = "_";  ///< for a character that the text form cannot hold

  bool is_unknown(std::string_view text) const {
    return std::ranges::find(unknown, text) != unknown.end();
  }
  bool breaks_form(char c) const { return c == out_separator || zel::text::is_control(c); }
  bool breaks_form(std::string_view text) const {
    return std::ranges::any_of(text, [this](char c) { return breaks_form(c); });
  }
  /// `text` with what breaks the form replaced.
  std::string written(std::string_view text) const {
    std::string result;
    for (const char c : text) breaks_form(c) ? result += replacement : result += c;
    return result;
  }
  /// A number as it is written: with a point, and without a plus sign in front.
  std::string number_text(std::string_view text) const {
    std::string result(text.substr(text.starts_with('+') ? 1 : 0));
    if (decimal_point != '.') {
      // A point would group digits there: such a text is no number.
      if (result.find('.') != result.npos) return {};
      std::ranges::replace(result, decimal_point, '.');
    }
    return result;
  }
};

}  // namespace orvprep
