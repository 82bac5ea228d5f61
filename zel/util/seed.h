// Where every random generator of the process gets its seed.
//
// By default a seed is one 32-bit value of the system's random device, so no two runs draw alike.
// After set_seed() every seed is a function of the run seed, the purpose of the draw and numbers
// that do not depend on the threads: the same run seed gives the same draws with any number of
// workers.
//
// Threads: draw_seed() from any thread; set_seed() and clear_seed() between operations.
#pragma once

#include <initializer_list>

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
  permutation
};

/// Makes the draws from now on repeatable and numbers them from the start again.
void set_seed(unsigned long run_seed);
/// Returns to seeds from the random device.
void clear_seed();

/// Seed of the next generator for `purpose`, numbered in the order of the calls: for operations
/// that follow one another on one thread. Throws what the random device throws.
unsigned long draw_seed(draw purpose);
/// Seed of the generator for `purpose` at `indices`, such as the number of the tree and of the
/// node: for work that is spread over threads. Under a run seed equal arguments give equal seeds.
unsigned long draw_seed(draw purpose, std::initializer_list<unsigned long> indices);

}  // namespace zel::util
