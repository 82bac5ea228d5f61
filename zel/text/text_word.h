// Short texts as words: eight bytes are compared, hashed and converted at once.
#pragma once

#include <bit>
#include <cassert>
#include <cstddef>
#include <cstdint>
#include <cstring>
#include <string_view>

namespace zel::text {

/// The longest text that a word holds.
constexpr std::size_t k_word_text = 8;

/// A word whose first `length` (0 .. 8) bytes are set.
inline std::uint64_t first_bytes(std::size_t length) {
  return length == 0 ? 0 : ~std::uint64_t{0} >> (8 * (k_word_text - length));
}

/// The text as a word, first byte lowest, zero behind. Different texts of one length have
/// different words.
inline std::uint64_t word_of(std::string_view text) {
  assert(text.size() <= k_word_text);
  if (std::endian::native == std::endian::little && text.size() >= 4) {  // two loads cover it
    std::uint32_t low, high;
    std::memcpy(&low, text.data(), sizeof low);
    std::memcpy(&high, text.data() + text.size() - 4, sizeof high);
    return low | static_cast<std::uint64_t>(high) << (8 * (text.size() - 4));
  }
  std::uint64_t word = 0;
  for (std::size_t i = 0; i < text.size(); ++i) {
    word |= static_cast<std::uint64_t>(static_cast<unsigned char>(text[i])) << (8 * i);
  }
  return word;
}

/// The same for a text of up to eight bytes that lies where eight may be read.
inline std::uint64_t word_at(const char* text, std::size_t length) {
  if constexpr (std::endian::native == std::endian::little) {
    std::uint64_t word;
    std::memcpy(&word, text, sizeof word);
    return word & first_bytes(length);
  } else {
    return word_of({text, length});
  }
}

/// The number that a text of 1 .. 8 digits stands for; `length` is at most 8.
/// @return false for another text.
inline bool number_of_digits(std::uint64_t word, std::size_t length, std::uint32_t& number) {
  assert(length <= k_word_text);
  if (length == 0) return false;
  std::uint64_t digits = word ^ (0x3030303030303030 & first_bytes(length));
  if (((digits + 0x7676767676767676) | digits) & 0x8080808080808080) return false;
  digits <<= 8 * (k_word_text - length);  // as if led by zeros
  digits = digits * 10 + (digits >> 8);   // pairs of digits, in every other byte
  const std::uint64_t low = (digits & 0x000000ff000000ff) * 0x000f424000000064;
  const std::uint64_t high = ((digits >> 16) & 0x000000ff000000ff) * 0x0000271000000001;
  number = static_cast<std::uint32_t>((low + high) >> 32);
  return true;
}

}  // namespace zel::text
