#include "wording.h"

#include <cstdio>

#include "zel/util/string_util.h"

namespace orvview {

namespace impls = orvik::impls;

namespace {

constexpr char k_replacement[] = "\xEF\xBF\xBD";  // U+FFFD

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

}  // namespace

wording::wording(const impls::dtree& model)
    : table_(*model.get_training_table()), encoding_(encoding_of(table_, model.name())) {
  for (const std::string& name : unique_names(table_)) names_.push_back(utf8(name));
}

std::string wording::utf8(const std::string& raw) const {
  return is_utf8() ? raw : zel::util::string_util::utf8_of_latin1(raw);
}

std::string wording::class_name(impls::code_t code) const {
  return utf8(table_.class_column().values()->get_value(code));
}

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

}  // namespace orvview
