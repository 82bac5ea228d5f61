// Weighted case list: rows of a table with a weight each, in a meaningful order.
//
// A vector of pairs (row, weight) with the sampling operations that training and testing need.
// A row may occur more than once. Operations that draw use a generator of their own, whose seed is
// the next one of a source (see zel/util/seed.h); those with a generator argument are for work
// spread over threads.
// Threads: many readers or one writer.
#pragma once

#include <algorithm>
#include <cassert>
#include <memory>
#include <numeric>
#include <optional>
#include <utility>
#include <vector>

#include "zel/util/rand_gen.h"

namespace zel::adt {

template <class T, class W>
class w_vector : public std::vector<std::pair<T, W>> {
 public:
  using base = std::vector<std::pair<T, W>>;
  using base::base;

  /// @return a new list of the same elements; the caller deletes it.
  [[nodiscard]] w_vector* clone() const { return new w_vector(*this); }

  /// @return a new list, which the caller deletes, of the elements at [start, start + count),
  /// clipped at the end; with `complement` of all the others in their order.
  [[nodiscard]] w_vector* select(unsigned long start, unsigned long count, bool complement) const;

  /// Shuffles the list in place.
  void randomize(util::seed_source& seeds = util::default_seeds());
  void randomize(util::rand_gen& random);

  /// Appends min(k, n) distinct rows of start .. start + n - 1, drawn uniformly, ascending, each
  /// with weight w.
  void push_back_random(unsigned long k, unsigned long start, unsigned long n, W w,
                        util::seed_source& seeds = util::default_seeds());

  /// Appends m = min(k, source size) copies of elements of `source`, not null, drawn with
  /// replacement.
  /// Deliberate: only the first m elements of `source` can be drawn.
  void push_back_random_repeated(unsigned long k, const w_vector* source);
  void push_back_random_repeated(unsigned long k, const w_vector* source, util::rand_gen& random);

  /// Moves a sample of the fraction `frac` of every class to the front, of t elements in all:
  /// drawn if `random`, else the first ones met while elements beyond a class's quota change
  /// places with ones from behind the sample.
  /// Without `random` a fraction of 0 or 1 leaves the order alone, with it shuffles the list.
  /// class_of(row) is a class code below n_classes; for n_classes = 0 the codes are looked up.
  /// O(size + classes * log(classes)).
  /// @return t, the integer part of size * frac.
  /// Throws a pointer to a std::runtime_error, changing nothing, unless 0 <= frac <= 1.
  template <class F>
  unsigned long stratify_frac(double frac, F class_of, unsigned long n_classes, bool random,
                              util::seed_source& seeds = util::default_seeds());
  /// The same for a sample of n <= size() elements. @return n.
  template <class F>
  unsigned long stratify_sample(unsigned long n, F class_of, unsigned long n_classes, bool random,
                                util::seed_source& seeds = util::default_seeds());

 private:
  template <class F>
  unsigned long stratify(unsigned long sample, long double frac, F class_of,
                         unsigned long n_classes, bool random, util::seed_source& seeds);
};

}  // namespace zel::adt

#include "zel/adt/w_vector_impl.h"
