#include "zel/text/message.h"

#include <algorithm>

namespace zel::text {

namespace {

constexpr std::size_t k_quoted_bytes = 200;

// A message may quote a cell or a name of many megabytes. Two of the longest file names fit.
constexpr std::size_t k_longest_line = 10000;
constexpr std::size_t k_shown_in_front = 200;
constexpr std::size_t k_shown_behind = 200;
constexpr char k_cut[] = " ... ";

std::string without_controls(std::string text) {
  std::ranges::replace_if(text, is_control, '?');
  return text;
}

}  // namespace

std::string quoted(std::string_view text) {
  return without_controls(std::string(text.substr(0, k_quoted_bytes)));
}

std::string bad_row_message(unsigned long row, std::string_view line) {
  return "bad row format (row " + std::to_string(row) + "): " + quoted(line);
}

std::string one_line(std::string_view message) {
  std::string line(message);
  if (message.size() > k_longest_line) {
    line.resize(k_shown_in_front);
    line.append(k_cut).append(message.substr(message.size() - k_shown_behind));
  }
  return without_controls(std::move(line));
}

}  // namespace zel::text
