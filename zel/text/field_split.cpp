#include "zel/text/field_split.h"

#include <algorithm>

namespace zel::text {

namespace {

bool is_space(char c) { return c == ' '; }

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
    const std::string_view field(at, static_cast<std::size_t>(stop - at));
    fields.push_back(trim ? trimmed(field, is_space) : field);
    if (stop == end || stop + 1 == end) return;
    at = stop + 1;
  }
}

}  // namespace zel::text
