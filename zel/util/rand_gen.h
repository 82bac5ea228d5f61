// Uniform random integers: a 64-bit Mersenne Twister that lives as long as one sampling operation.
//
// Threads: a generator belongs to one thread.
#pragma once

#include <cassert>
#include <random>

#include "zel/util/nocopy.h"
#include "zel/util/seed.h"

namespace zel::util {

class rand_gen : private nocopy {
 public:
  /// A generator of 0 .. n - 1, of all 64-bit numbers if n is 0, seeded by the next seed for
  /// `purpose`. Throws what the random device throws.
  explicit rand_gen(unsigned long n, draw purpose = draw::sample,
                    seed_source& from = default_seeds())
      : rand_gen(n, from.next(purpose)) {}
  /// The same with a seed of the caller's, as seed_source::at() gives for parallel work.
  rand_gen(unsigned long n, unsigned long seed)
      : max_(n - 1), engine_(seed), distribution_(0, max_) {}
  virtual ~rand_gen() = default;

  /// @return a number of 0 .. n - 1 for the n of the constructor.
  unsigned long operator()() { return distribution_(engine_); }
  /// @return a number of 0 .. n - 1 for this draw's own n > 0.
  unsigned long below(unsigned long n) {
    assert(n > 0);
    return distribution_(engine_, distribution::param_type(0, n - 1));
  }

 private:
  using distribution = std::uniform_int_distribution<unsigned long>;

  unsigned long max_;
  std::mt19937_64 engine_;
  distribution distribution_;
};

}  // namespace zel::util
