// Random numbers for many short sequences, such as one a node of a tree: a generator of one word
// that costs nothing to seed (splitmix64: Steele, Lea and Flood, Fast splittable pseudorandom
// number generators, 2014).
#pragma once

#include <cassert>

namespace zel::util {

/// The output function of splitmix64, whose increment it adds: a bijection that spreads every bit.
constexpr unsigned long spread(unsigned long x) {
  x += 0x9e3779b97f4a7c15UL;
  x = (x ^ (x >> 30)) * 0xbf58476d1ce4e5b9UL;
  x = (x ^ (x >> 27)) * 0x94d049bb133111ebUL;
  return x ^ (x >> 31);
}

class quick_gen {
 public:
  explicit quick_gen(unsigned long seed) : state_(seed) {}

  /// @return a number of 0 .. n - 1 for n > 0, each alike but for n / 2^64.
  unsigned long below(unsigned long n) {
    assert(n > 0);
    const unsigned long word = spread(state_);
    state_ += 0x9e3779b97f4a7c15UL;
    return static_cast<unsigned long>(wide{word} * n >> 64);
  }

 private:
  __extension__ using wide = unsigned __int128;

  unsigned long state_;
};

}  // namespace zel::util
