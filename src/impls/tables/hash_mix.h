// The hash of the dictionaries, keyed with a secret of the process: no input file can choose its
// collisions.
#pragma once

#include <cstdint>

namespace orvik::impls {

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

}  // namespace orvik::impls
