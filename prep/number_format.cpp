#include "number_format.h"

#include <algorithm>

namespace orvprep {

namespace {

constexpr std::size_t k_longest_grouped = 64;
constexpr std::array<std::string_view, 2> k_other_blanks = {"\xc2\xa0", "\xe2\x80\xaf"};

bool is_digit(char c) { return c >= '0' && c <= '9'; }

/// With the blank for all that look as one.
std::string with_plain_blanks(std::string_view text) {
  std::string result(text);
  for (const std::string_view blank : k_other_blanks) {
    for (std::size_t at; (at = result.find(blank)) != result.npos;) {
      result.replace(at, blank.size(), " ");
    }
  }
  return result;
}

/// Removes the marks from the digits before the decimals. @return whether they stand right.
bool remove_marks(std::string& whole, char mark) {
  const std::size_t sign = whole.starts_with('-') ? 1 : 0;
  std::size_t first = whole.find(mark);
  if (first == whole.npos) return true;
  if (first == sign || first > sign + 3 || whole[sign] == '0') return false;
  for (std::size_t at = first; at < whole.size(); at += 4) {
    const std::string_view group = std::string_view(whole).substr(at);
    if (group.size() < 4 || group[0] != mark) return false;
    if (!std::ranges::all_of(group.substr(1, 3), is_digit)) return false;
  }
  std::erase(whole, mark);
  return true;
}

void add(number_reading& r, std::string_view text, std::size_t format) {
  const number n = number_of(number_text(text, k_number_formats[format]));
  if (n.kind == number_kind::none) return;
  r.formats |= bit_of(format);
  (k_number_formats[format].decimal == '.' ? r.by_point : r.by_comma) = n;
}

bool begins_as_number(std::string_view text) {
  return !text.empty() &&
         (is_digit(text[0]) || std::string_view("+-.,").find(text[0]) != text.npos);
}

}  // namespace

std::string number_text(std::string_view text, number_format format) {
  if (text.starts_with('+')) {
    text.remove_prefix(1);
    if (text.find_first_of("+-") == 0) return {};
  }
  if (format == number_format{}) return std::string(text);
  std::string result = format.thousands == ' ' ? with_plain_blanks(text) : std::string(text);
  const std::size_t end =
      std::min(result.find_first_of(std::string{format.decimal, 'e', 'E'}), result.size());
  std::string whole = result.substr(0, end), rest = result.substr(end);
  if (format.thousands != 0 && !remove_marks(whole, format.thousands)) return {};
  if (format.decimal == ',') {
    // A point that is no mark of this format makes no number of it.
    if (whole.find('.') != whole.npos || rest.find('.') != rest.npos) return {};
    if (rest.starts_with(',')) rest[0] = '.';
  }
  return whole + rest;
}

number_reading reading_of(std::string_view text) {
  number_reading r;
  if (!begins_as_number(text)) return r;
  const number plain = number_of(text);
  if (plain.kind != number_kind::none) {
    r = {k_all_formats, plain, plain};
    if (text.find('.') == text.npos) return r;
    r.formats = formats_with('.');
    r.by_comma = {};
    add(r, text, 3);  // the point between thousands
    return r;
  }
  if (text.size() > k_longest_grouped) return r;
  for (std::size_t i = 1; i < k_number_formats.size(); ++i) add(r, text, i);
  return r;
}

}  // namespace orvprep
