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

/// Of any text. Different texts have different values but for a chance of 1 in 2^64 or so.
inline std::uint64_t hash_of(std::string_view text) {
  const auto word_from = [](const char* from) {
    std::uint64_t word;
    std::memcpy(&word, from, sizeof word);
    return word;
  };
  const auto& [a, b] = process_secret();
  if (text.size() <= k_word_text) return hash_mix(word_of(text) ^ a, b ^ text.size());
  std::uint64_t h = a ^ text.size();
  const char* p = text.data();
  std::size_t left = text.size();
  for (; left > 8; p += 8, left -= 8) h = hash_mix(h ^ word_from(p), b);
  return hash_mix(h ^ word_from(p + left - 8), b ^ a);  // the last eight, overlapping what was read
}

}  // namespace zel::text
