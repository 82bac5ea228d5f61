#include "zel/util/seed.h"

#include <array>
#include <atomic>
#include <cstddef>
#include <random>

namespace zel::util {

namespace {

constexpr std::size_t k_purposes = 16;  // at least the number of enumerators of draw
constexpr unsigned long k_numbered = 0;
constexpr unsigned long k_indexed = 1;

bool seeded = false;
unsigned long run = 0;
std::array<std::atomic<unsigned long>, k_purposes> next_number{};

// The output function of splitmix64, whose increment it adds: a bijection that spreads every bit.
unsigned long spread(unsigned long x) {
  x += 0x9e3779b97f4a7c15UL;
  x = (x ^ (x >> 30)) * 0xbf58476d1ce4e5b9UL;
  x = (x ^ (x >> 27)) * 0x94d049bb133111ebUL;
  return x ^ (x >> 31);
}

unsigned long seed_of(unsigned long kind, draw purpose, std::initializer_list<unsigned long> path) {
  unsigned long seed = spread(run);
  for (const unsigned long part : {kind, static_cast<unsigned long>(purpose)}) {
    seed = spread(seed ^ part);
  }
  for (const unsigned long part : path) seed = spread(seed ^ part);
  return seed;
}

unsigned long device_seed() { return std::random_device("default")(); }

}  // namespace

void set_seed(unsigned long run_seed) {
  seeded = true;
  run = run_seed;
  for (auto& number : next_number) number = 0;
}

void clear_seed() { seeded = false; }

unsigned long draw_seed(draw purpose) {
  if (!seeded) return device_seed();
  const unsigned long number = next_number[static_cast<std::size_t>(purpose)]++;
  return seed_of(k_numbered, purpose, {number});
}

unsigned long draw_seed(draw purpose, std::initializer_list<unsigned long> indices) {
  return seeded ? seed_of(k_indexed, purpose, indices) : device_seed();
}

}  // namespace zel::util
