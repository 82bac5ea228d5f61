#include "wording.h"

#include <algorithm>
#include <cstdio>

#include "zel/util/string_util.h"

namespace orvik::view {

namespace {

constexpr char k_utf8[] = "UTF-8";
constexpr char k_replacement[] = "\xEF\xBF\xBD";  // U+FFFD
constexpr char k_ellipsis[] = "\xE2\x80\xA6";     // U+2026

bool is_plain(char32_t c) { return c >= ' ' && c < 0x7F && c != '"' && c != '\\'; }

std::string formatted(const char* format, unsigned value) {
  char room[16];
  return {room, static_cast<std::size_t>(std::snprintf(room, sizeof room, format, value))};
}

bool fits_xml(char32_t c) {
  return c >= ' ' ? c != 0xFFFE && c != 0xFFFF : c == '\t' || c == '\n' || c == '\r';
}

/// Control characters, and marks of direction.
bool steers(char32_t c) {
  return c < ' ' || (c >= 0x7F && c < 0xA0) || c == 0x061C || (c >= 0x200E && c <= 0x200F) ||
         (c >= 0x2028 && c <= 0x202E) || (c >= 0x2066 && c <= 0x2069);
}

struct character_range {
  char32_t first, last;
};
// Enough for columns to stand straight in the scripts of names; terminals differ on the rest.
constexpr character_range k_marks[] = {
    {0x0300, 0x036F}, {0x0483, 0x0489}, {0x0591, 0x05BD}, {0x064B, 0x065F}, {0x0900, 0x0902},
    {0x0E31, 0x0E31}, {0x0E34, 0x0E3A}, {0x0E47, 0x0E4E}, {0x200B, 0x200D}, {0x20D0, 0x20FF},
    {0x3099, 0x309A}, {0xFE00, 0xFE0F}, {0xFE20, 0xFE2F}, {0xFEFF, 0xFEFF}};
constexpr character_range k_wide[] = {{0x1100, 0x115F},   {0x2E80, 0x303E},  {0x3041, 0xA4CF},
                                      {0xAC00, 0xD7A3},   {0xF900, 0xFAFF},  {0xFE30, 0xFE6F},
                                      {0xFF00, 0xFF60},   {0xFFE0, 0xFFE6},  {0x1F300, 0x1F64F},
                                      {0x1F900, 0x1F9FF}, {0x20000, 0x3FFFD}};

unsigned long width_of(char32_t c) {
  const auto holds = [c](const character_range& r) { return c >= r.first && c <= r.last; };
  if (std::ranges::any_of(k_marks, holds)) return 0;
  return std::ranges::any_of(k_wide, holds) ? 2 : 1;
}

}  // namespace

wording::wording(const orvik::dtree& model)
    : classes_(model.get_schema().class_column()), encoding_(model.get_encoding()) {
  const std::string whole = model.get_name();
  model_name_ = utf8(whole.substr(whole.find_last_of('/') + 1));
  for (const std::string& name : model.get_schema().unique_names()) names_.push_back(utf8(name));
}

std::string wording::utf8(const std::string& raw) const {
  return encoding_ == k_utf8 ? raw : zel::util::string_util::utf8_of_latin1(raw);
}

std::string wording::class_name(orvik::code_t code) const { return utf8(classes_.printed(code)); }

std::string cpp_literal(std::string_view text) {
  std::string literal = "\"";
  for (const char c : text) {
    const auto byte = static_cast<unsigned char>(c);
    // A question mark may begin a trigraph; three octal digits end by themselves.
    literal += is_plain(byte) && c != '?' ? std::string(1, c) : formatted("\\%03o", byte);
  }
  return literal + '"';
}

std::string python_literal(const std::string& text) {
  std::string literal = "\"";
  for (const char32_t c : characters_of(text)) {
    const char* const format = c > 0xFFFF ? "\\U%08x" : c > 0x7E ? "\\u%04x" : "\\x%02x";
    literal += is_plain(c) ? std::string(1, static_cast<char>(c)) : formatted(format, c);
  }
  return literal + '"';
}

std::string sql_literal(std::string_view text, char quote) {
  std::string literal(1, quote);
  for (const char c : text) {
    if (c == quote) literal += quote;
    literal += c;
  }
  return literal + quote;
}

std::string csv_field(const std::string& text) {
  const bool blank = !text.empty() && (text.front() == ' ' || text.back() == ' ');
  return blank || text.find_first_of(",\"\r\n") != text.npos ? sql_literal(text, '"') : text;
}

std::string xml_text(const std::string& utf8) {
  std::string fitting;
  for (const char32_t c : characters_of(utf8)) fitting += fits_xml(c) ? utf8_of(c) : k_replacement;
  return zel::util::string_util::toXML(fitting);
}

std::string shown_text(const std::string& utf8) {
  std::string shown;
  for (const char32_t c : characters_of(utf8)) shown += steers(c) ? "?" : utf8_of(c);
  return shown;
}

unsigned long columns_of(const std::string& utf8) {
  unsigned long columns = 0;
  for (const char32_t c : characters_of(utf8)) columns += width_of(c);
  return columns;
}

std::string shortened(const std::string& utf8, unsigned long columns) {
  if (columns_of(utf8) <= columns) return utf8;
  std::string text;
  unsigned long used = 1;  // of the mark behind it
  for (const char32_t c : characters_of(utf8)) {
    used += width_of(c);
    if (used > columns) break;
    text += utf8_of(c);
  }
  return columns == 0 ? "" : text + k_ellipsis;
}

std::vector<char32_t> characters_of(const std::string& utf8) {
  std::vector<char32_t> characters;
  for (const char c : utf8) {
    const auto byte = static_cast<unsigned char>(c);
    if ((byte & 0xC0) == 0x80 && !characters.empty()) {
      characters.back() = (characters.back() << 6) | (byte & 0x3F);
    } else {
      characters.push_back(byte >= 0xF0   ? byte & 0x07
                           : byte >= 0xE0 ? byte & 0x0F
                           : byte >= 0xC0 ? byte & 0x1F
                                          : byte);
    }
  }
  return characters;
}

std::string utf8_of(char32_t c) {
  const auto tail = [c](int shift) { return static_cast<char>(0x80 | ((c >> shift) & 0x3F)); };
  if (c < 0x80) return {static_cast<char>(c)};
  if (c < 0x800) return {static_cast<char>(0xC0 | (c >> 6)), tail(0)};
  if (c < 0x10000) return {static_cast<char>(0xE0 | (c >> 12)), tail(6), tail(0)};
  return {static_cast<char>(0xF0 | (c >> 18)), tail(12), tail(6), tail(0)};
}

}  // namespace orvik::view
