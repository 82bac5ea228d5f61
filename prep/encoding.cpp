#include "encoding.h"

#include <array>
#include <cstring>

namespace orvprep {

namespace {

/// What bytes 0x80 to 0x9f stand for.
constexpr std::array<std::uint16_t, 32> k_cp1252 = {
    0x20ac, 0x81,   0x201a, 0x0192, 0x201e, 0x2026, 0x2020, 0x2021, 0x02c6, 0x2030, 0x0160,
    0x2039, 0x0152, 0x8d,   0x017d, 0x8f,   0x90,   0x2018, 0x2019, 0x201c, 0x201d, 0x2022,
    0x2013, 0x2014, 0x02dc, 0x2122, 0x0161, 0x203a, 0x0153, 0x9d,   0x017e, 0x0178};

void append(std::uint32_t c, std::string& to) {
  const auto tail = [&](unsigned shift) { to += static_cast<char>(0x80 | ((c >> shift) & 0x3f)); };
  if (c < 0x80) {
    to += static_cast<char>(c);
  } else if (c < 0x800) {
    to += static_cast<char>(0xc0 | (c >> 6));
    tail(0);
  } else if (c < 0x10000) {
    to += static_cast<char>(0xe0 | (c >> 12));
    tail(6);
    tail(0);
  } else {
    to += static_cast<char>(0xf0 | (c >> 18));
    tail(12);
    tail(6);
    tail(0);
  }
}

/// How many bytes in front are below 0x80, by words.
std::size_t ascii_words(std::string_view bytes) {
  std::size_t n = 0;
  for (std::uint64_t word; n + sizeof word <= bytes.size(); n += sizeof word) {
    std::memcpy(&word, bytes.data() + n, sizeof word);
    if ((word & 0x8080808080808080) != 0) break;
  }
  return n;
}

}  // namespace

bool is_ascii(std::string_view bytes) {
  unsigned char all = 0;
  for (const char c : bytes) all |= static_cast<unsigned char>(c);
  return all < 0x80;
}

bool utf8_check::start(unsigned char byte) {
  if (byte < 0x80) return true;
  if (byte < 0xc2 || byte > 0xf4) return false;
  left_ = byte < 0xe0 ? 1 : byte < 0xf0 ? 2 : 3;
  lowest_ = byte == 0xe0 ? 0xa0 : byte == 0xf0 ? 0x90 : 0x80;
  highest_ = byte == 0xed ? 0x9f : byte == 0xf4 ? 0x8f : 0xbf;
  return true;
}

bool utf8_check::feed(std::string_view bytes) {
  if (left_ == 0 && is_ascii(bytes)) return true;
  bool good = true;
  for (std::size_t i = 0; i < bytes.size(); ++i) {
    if (left_ == 0) i += ascii_words(bytes.substr(i));
    if (i == bytes.size()) break;
    const auto byte = static_cast<unsigned char>(bytes[i]);
    if (left_ > 0 && byte >= lowest_ && byte <= highest_) {
      lowest_ = 0x80;
      highest_ = 0xbf;
      has_long_ = has_long_ || left_ == 1;
      --left_;
      continue;
    }
    good = good && left_ == 0;
    left_ = 0;
    good = start(byte) && good;
  }
  return good;
}

std::string from_cp1252(std::string_view bytes) {
  std::string text;
  for (const char c : bytes) {
    const auto byte = static_cast<unsigned char>(c);
    append(byte >= 0x80 && byte < 0xa0 ? k_cp1252[byte - 0x80] : byte, text);
  }
  return text;
}

bool utf16_decoder::feed(std::string_view bytes, std::string& to) {
  for (const char c : bytes) {
    const auto byte = static_cast<unsigned char>(c);
    has_byte_ = !has_byte_;
    if (has_byte_) {
      byte_ = byte;
    } else if (!take(little_ ? byte_ | byte << 8U : byte_ << 8U | byte, to)) {
      return false;
    }
  }
  return true;
}

bool utf16_decoder::take(std::uint32_t unit, std::string& to) {
  const bool high = unit >= 0xd800 && unit < 0xdc00, low = unit >= 0xdc00 && unit < 0xe000;
  if (low != (high_ != 0)) return false;
  if (high) {
    high_ = unit;
  } else {
    append(low ? 0x10000 + ((high_ - 0xd800) << 10) + (unit - 0xdc00) : unit, to);
    high_ = 0;
  }
  return true;
}

}  // namespace orvprep
