#include "zel/text/field_split.h"

#include <algorithm>

namespace zel::text {

namespace {

constexpr std::size_t k_quoted_bytes = 200;

std::string_view trimmed(const char* first, const char* last) {
  while (first < last && *first == ' ') ++first;
  while (first < last && last[-1] == ' ') --last;
  return {first, static_cast<std::size_t>(last - first)};
}

void split_at_blanks(std::string_view line, std::vector<std::string_view>& fields) {
  std::size_t at = 0;
  while ((at = line.find_first_not_of(' ', at)) != std::string_view::npos) {
    const std::size_t end = std::min(line.find(' ', at), line.size());
    fields.push_back(line.substr(at, end - at));
    at = end;
  }
  if (fields.empty()) fields.emplace_back();
}

}  // namespace

void split_fields(std::string_view line, char separator, bool trim,
                  std::vector<std::string_view>& fields) {
  fields.clear();
  if (trim && separator == ' ') return split_at_blanks(line, fields);
  const char* at = line.data();
  const char* const end = at + line.size();
  for (;;) {
    const char* stop = at;
    while (stop < end && *stop != separator) ++stop;
    fields.push_back(trim ? trimmed(at, stop)
                          : std::string_view(at, static_cast<std::size_t>(stop - at)));
    if (stop == end || stop + 1 == end) return;
    at = stop + 1;
  }
}

std::string quoted(std::string_view text) {
  std::string shown(text.substr(0, k_quoted_bytes));
  for (char& c : shown) {
    const auto byte = static_cast<unsigned char>(c);
    if (byte < 32 || byte == 127) c = '?';
  }
  return shown;
}

std::string bad_row_message(unsigned long row, std::string_view line) {
  return "bad row format (row " + std::to_string(row) + "): " + quoted(line);
}

}  // namespace zel::text
