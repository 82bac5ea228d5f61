// A line of text into its fields, the same for metadata, data and rows to classify.
#pragma once

#include <cstring>
#include <string_view>
#include <vector>

namespace zel::text {

/// Fields of `line`; an empty line is one empty field. A separator at the very end opens no
/// further field. With `trim`, outer blanks (the space character) of each field are dropped, and
/// when the separator is a blank itself, runs of blanks are one separator and outer ones none.
void split_fields(std::string_view line, char separator, bool trim,
                  std::vector<std::string_view>& fields);

/// `text` without the characters of a kind around it.
template <class IsBlank>
std::string_view trimmed(std::string_view text, IsBlank is_blank) {
  while (!text.empty() && is_blank(text.front())) text.remove_prefix(1);
  while (!text.empty() && is_blank(text.back())) text.remove_suffix(1);
  return text;
}

/// No line of text holds a NUL byte: it would end the text for half of its readers.
inline bool holds_nul(std::string_view line) {
  return std::memchr(line.data(), 0, line.size()) != nullptr;
}

}  // namespace zel::text
