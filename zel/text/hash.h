// The hash of the dictionaries, keyed with a secret of the process: no input file can choose its
// collisions.
#pragma once

#include <cstdint>
#include <cstring>
#include <string_view>

#include "zel/text/text_word.h"

namespace zel::text {

struct hash_secret {
  std::uint64_t a, b;  // odd
};

/// Drawn once a process.
const hash_secret& process_secret();

/// Folded 128-bit product: every input bit reaches every output bit.
inline std::uint64_t hash_mix(std::uint64_t x, std::uint64_t y) {
  __extension__ using wide = unsigned __int128;
  const wide product = static_cast<wide>(x) * y;
  return static_cast<std::uint64_t>(product) ^ static_cast<std::uint64_t>(product >> 64);
}

/// Of the word of a text of `length` (0 .. 8) bytes.
inline std::uint64_t hash_of_word(std::uint64_t word, std::size_t length,
                                  const hash_secret& secret) {
  return hash_mix(word ^ secret.a, secret.b ^ length);
}

/// Of any text. Different texts have different values but for a chance of 1 in 2^64 or so.
inline std::uint64_t hash_of(std::string_view text) {
  const auto word_from = [](const char* from) {
    std::uint64_t word;
    std::memcpy(&word, from, sizeof word);
    return word;
  };
  const hash_secret& secret = process_secret();
  if (text.size() <= k_word_text) return hash_of_word(word_of(text), text.size(), secret);
  const auto& [a, b] = secret;
  std::uint64_t h = a ^ text.size();
  const char* p = text.data();
  std::size_t left = text.size();
  for (; left > 8; p += 8, left -= 8) h = hash_mix(h ^ word_from(p), b);
  return hash_mix(h ^ word_from(p + left - 8), b ^ a);  // the last eight, overlapping what was read
}

}  // namespace zel::text
