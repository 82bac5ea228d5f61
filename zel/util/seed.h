// Where random generators get their seeds.
//
// By default seeds are a sequence that begins where the random device says: no two runs draw alike.
// Once set, every seed is a function of the run seed, the purpose of the draw and numbers that do
// not depend on the threads: the same run seed gives the same draws with any number of workers.
#pragma once

#include <array>
#include <atomic>
#include <initializer_list>
#include <tuple>

#include "zel/util/nocopy.h"

namespace zel::util {

/// What a generator is for. Each purpose has a sequence of seeds of its own, so that one more
/// draw for one purpose leaves the draws for the others as they were.
enum class draw : unsigned {
  shuffle,
  sample,
  bootstrap,
  stratify,
  bitmap,
  attributes,
  permutation,
  calibration
};

/// Threads: next() and at() from any thread; set() and clear() between operations.
class seed_source : private nocopy {
 public:
  /// Makes the draws from now on repeatable and numbers them from the start again.
  void set(unsigned long run_seed);
  /// Returns to seeds that nobody can foretell.
  void clear() { seeded_ = false; }

  /// Seed of the next generator for `purpose`, numbered in the order of the calls: for operations
  /// that follow one another on one thread. Throws what the random device throws.
  unsigned long next(draw purpose);
  /// Seed of the generator for `purpose` at `indices`, such as the number of the tree and of the
  /// node: for work that is spread over threads. Under a run seed equal arguments give equal seeds.
  unsigned long at(draw purpose, std::initializer_list<unsigned long> indices) const;

  /// How many seeds next() gave, by purpose: where the sequences stand.
  using places = std::array<unsigned long, 8>;
  places where() const;
  /// The sequences go on from there.
  void go_to(const places& there);

 private:
  bool seeded_ = false;
  unsigned long run_ = 0;
  std::array<std::atomic<unsigned long>, std::tuple_size_v<places>> next_number_{};  // by purpose
};

/// Those of the default context.
seed_source& default_seeds();
void set_seed(unsigned long run_seed);
void clear_seed();

}  // namespace zel::util
