// Sets of attributes, and the order in which equally good ones are preferred.
#pragma once

#include <bit>

#include "zel/adt/bitmap.h"

namespace orvik::impls::selection {

/// Bit a stands for attribute a. Sets that are compared have one size.
using attribute_set = zel::adt::bitmap;

/// Membership for inner loops, past the virtual access of the bitmap, which must outlive it.
class members {
 public:
  explicit members(const attribute_set& set) : words_(set.words()) {}
  bool operator()(unsigned long a) const { return (words_[a >> 6] >> (a & 63)) & 1; }

 private:
  const unsigned long* words_;
};

inline attribute_set with(attribute_set set, unsigned long a) {
  set.set(a);
  return set;
}

inline attribute_set without(attribute_set set, unsigned long a) {
  set.reset(a);
  return set;
}

inline bool is_subset(const attribute_set& inner, const attribute_set& outer) {
  for (unsigned long i = 0; i < inner.n_words(); ++i) {
    if ((inner.words()[i] & ~outer.words()[i]) != 0) return false;
  }
  return true;
}

/// Whether, at the lowest attribute that only one of them has, it is `a`.
inline bool is_earlier(const attribute_set& a, const attribute_set& b) {
  for (unsigned long i = 0; i < a.n_words(); ++i) {
    const unsigned long differ = a.words()[i] ^ b.words()[i];
    if (differ != 0) return ((a.words()[i] >> std::countr_zero(differ)) & 1) != 0;
  }
  return false;
}

/// A set and the errors of its tree, in the units of search_cases.
struct rated_set {
  attribute_set set;
  unsigned long errors;
};

/// Fewer errors, then fewer attributes, then the earlier ones.
inline bool is_better(const rated_set& a, const rated_set& b) {
  if (a.errors != b.errors) return a.errors < b.errors;
  const unsigned long na = a.set.count(), nb = b.set.count();
  return na != nb ? na < nb : is_earlier(a.set, b.set);
}

}  // namespace orvik::impls::selection
