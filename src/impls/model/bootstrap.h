// The draws of an ensemble's trees, with replacement (Breiman 1996). They follow from the tree's
// seed alone: nothing else need be kept to know them again.
#pragma once

#include "zel/adt/bitmap.h"
#include "zel/util/rand_gen.h"

namespace orvik::impls {

/// Calls take(position) for each of the n draws from 0 .. n - 1, in the order of the draws.
template <class Take>
void for_each_draw(unsigned long n, unsigned long seed, const Take& take) {
  if (n == 0) return;
  zel::util::rand_gen positions(n, seed);
  for (unsigned long i = 0; i < n; ++i) take(positions.below(n));
}

/// The positions drawn at least once, as bits of 0 .. n - 1. The others are out of bag: about
/// n / e of them.
inline zel::adt::bitmap in_bag(unsigned long n, unsigned long seed) {
  zel::adt::bitmap drawn;
  drawn.resize(n);
  for_each_draw(n, seed, [&drawn](unsigned long position) { drawn.set(position); });
  return drawn;
}

}  // namespace orvik::impls
