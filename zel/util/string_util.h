// Texts to integers, texts to XML, encodings of texts.
#pragma once

#include <string>
#include <string_view>

namespace zel::util::string_util {

/// Reads a decimal integer: blanks, a sign, digits, and nothing after them. A sign alone is 0.
/// T is int or unsigned int; the lowest int is refused, as its magnitude exceeds the largest.
/// Throws std::runtime_error, leaving `out` unchanged, for a null pointer, any other character,
/// no characters at all, a value out of range, or a "-" before an unsigned number.
template <class T>
void str2int(const char* s, T& out);

extern template void str2int<int>(const char* s, int& out);
extern template void str2int<unsigned int>(const char* s, unsigned int& out);

/// @return `text` with & ' " < > written as entities and every other byte kept.
std::string toXML(const std::string& text);

/// Whether `text` is UTF-8: no overlong form, no surrogate, nothing past U+10FFFF.
bool is_utf8(std::string_view text);

/// @return the ISO-8859-1 `text` in UTF-8.
std::string utf8_of_latin1(std::string_view text);

}  // namespace zel::util::string_util
