#include "zel/util/string_util.h"

#include <limits>
#include <stdexcept>
#include <type_traits>

namespace zel::util::string_util {

namespace {

constexpr char k_null[] = "str2int:: cannot convert a NULL string.";
constexpr char k_negative[] = "str2int:: a negative number provided.";
constexpr char k_overflow[] = "str2int:: overflow";

/// The bytes that may begin a character, how many follow it, and the range of the first of those;
/// what a range leaves out is overlong, a surrogate or past the end. All others are 80 .. BF.
struct lead_bytes {
  unsigned char first, last;
  unsigned followers;
  unsigned char low, high;
};
constexpr lead_bytes k_lead_bytes[] = {
    {0x00, 0x7f, 0, 0, 0},       {0xc2, 0xdf, 1, 0x80, 0xbf}, {0xe0, 0xe0, 2, 0xa0, 0xbf},
    {0xe1, 0xec, 2, 0x80, 0xbf}, {0xed, 0xed, 2, 0x80, 0x9f}, {0xee, 0xef, 2, 0x80, 0xbf},
    {0xf0, 0xf0, 3, 0x90, 0xbf}, {0xf1, 0xf3, 3, 0x80, 0xbf}, {0xf4, 0xf4, 3, 0x80, 0x8f}};

/// Length of the character that `text`, which is not empty, begins with; 0 if it begins with none.
std::size_t character_length(std::string_view text) {
  const auto byte = [&](std::size_t i) { return static_cast<unsigned char>(text[i]); };
  for (const lead_bytes& lead : k_lead_bytes) {
    if (byte(0) < lead.first || byte(0) > lead.last) continue;
    if (text.size() <= lead.followers) return 0;
    for (std::size_t i = 1; i <= lead.followers; ++i) {
      const unsigned char low = i == 1 ? lead.low : 0x80, high = i == 1 ? lead.high : 0xbf;
      if (byte(i) < low || byte(i) > high) return 0;
    }
    return lead.followers + 1;
  }
  return 0;
}

[[noreturn]] void throw_not_an_int(const char* s) {
  throw std::runtime_error(std::string(s) + ": not an int");
}

}  // namespace

template <class T>
void str2int(const char* s, T& out) {
  constexpr T k_max = std::numeric_limits<T>::max();
  if (!s) throw std::runtime_error(k_null);
  const char* c = s;
  while (*c == ' ') ++c;
  if (*c == '\0') throw_not_an_int(s);
  const bool negative = *c == '-';
  if (negative && std::is_unsigned_v<T>) throw std::runtime_error(k_negative);
  if (*c == '-' || *c == '+') ++c;

  T value = 0;
  for (; *c >= '0' && *c <= '9'; ++c) {
    const T digit = static_cast<T>(*c - '0');
    if (value > k_max / 10 || (value == k_max / 10 && digit > k_max % 10)) {
      throw std::runtime_error(k_overflow);
    }
    value = static_cast<T>(value * 10 + digit);
  }
  if (*c != '\0') throw_not_an_int(s);
  out = negative ? static_cast<T>(T{0} - value) : value;
}

template void str2int<int>(const char* s, int& out);
template void str2int<unsigned int>(const char* s, unsigned int& out);

std::string toXML(const std::string& text) {
  std::string xml;
  xml.reserve(text.size());
  for (const char c : text) {
    switch (c) {
      case '&':
        xml += "&amp;";
        break;
      case '\'':
        xml += "&apos;";
        break;
      case '"':
        xml += "&quot;";
        break;
      case '<':
        xml += "&lt;";
        break;
      case '>':
        xml += "&gt;";
        break;
      default:
        xml += c;
    }
  }
  return xml;
}

bool is_utf8(std::string_view text) {
  while (!text.empty()) {
    const std::size_t length = character_length(text);
    if (length == 0) return false;
    text.remove_prefix(length);
  }
  return true;
}

std::string utf8_of_latin1(std::string_view text) {
  std::string utf8;
  utf8.reserve(text.size());
  for (const char c : text) {
    const auto byte = static_cast<unsigned char>(c);
    if (byte < 0x80) {
      utf8 += c;
    } else {
      utf8 += static_cast<char>(0xc0 | (byte >> 6));
      utf8 += static_cast<char>(0x80 | (byte & 0x3f));
    }
  }
  return utf8;
}

}  // namespace zel::util::string_util
