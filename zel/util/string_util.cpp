#include "zel/util/string_util.h"

#include <limits>
#include <stdexcept>
#include <type_traits>

namespace zel::util::string_util {

namespace {

constexpr char k_null[] = "str2int:: cannot convert a NULL string.";
constexpr char k_negative[] = "str2int:: a negative number provided.";
constexpr char k_overflow[] = "str2int:: overflow";

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

}  // namespace zel::util::string_util
