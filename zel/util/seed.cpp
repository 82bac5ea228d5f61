#include "zel/util/seed.h"

#include <unistd.h>

#include <atomic>
#include <cassert>
#include <cstddef>
#include <random>

#include "zel/util/quick_gen.h"

namespace zel::util {

namespace {

constexpr unsigned long k_numbered = 0;
constexpr unsigned long k_indexed = 1;

unsigned long seed_of(unsigned long run, unsigned long kind, draw purpose,
                      std::initializer_list<unsigned long> path) {
  unsigned long seed = spread(run);
  for (const unsigned long part : {kind, static_cast<unsigned long>(purpose)}) {
    seed = spread(seed ^ part);
  }
  for (const unsigned long part : path) seed = spread(seed ^ part);
  return seed;
}

/// 32 bits of a sequence of this process that begins where the random device says: to ask it takes
/// longer than to grow a stump. A process that is forked goes on with a sequence of its own.
unsigned long device_seed() {
  static const unsigned long first = [] {
    std::random_device device("default");
    const unsigned long high = device();
    return high << 32 | device();
  }();
  static std::atomic<unsigned long> n_given{0};
  const auto process = static_cast<unsigned long>(getpid());
  return spread(first ^ spread(process) ^ ++n_given) >> 32;
}

}  // namespace

void seed_source::set(unsigned long run_seed) {
  seeded_ = true;
  run_ = run_seed;
  for (auto& number : next_number_) number = 0;
}

unsigned long seed_source::next(draw purpose) {
  assert(static_cast<std::size_t>(purpose) < next_number_.size());
  if (!seeded_) return device_seed();
  const unsigned long number = next_number_[static_cast<std::size_t>(purpose)]++;
  return seed_of(run_, k_numbered, purpose, {number});
}

seed_source::places seed_source::where() const {
  places all{};
  for (std::size_t i = 0; i < all.size(); ++i) all[i] = next_number_[i];
  return all;
}

void seed_source::go_to(const places& there) {
  for (std::size_t i = 0; i < there.size(); ++i) next_number_[i] = there[i];
}

unsigned long seed_source::at(draw purpose, std::initializer_list<unsigned long> indices) const {
  return seeded_ ? seed_of(run_, k_indexed, purpose, indices) : device_seed();
}

void set_seed(unsigned long run_seed) { default_seeds().set(run_seed); }
void clear_seed() { default_seeds().clear(); }

}  // namespace zel::util
