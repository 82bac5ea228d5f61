// Members of w_vector; included by w_vector.h only.
#pragma once

#include <cassert>

#include "zel/adt/stratify_quotas.h"
#include "zel/adt/w_vector.h"
#include "zel/util/errors.h"

namespace zel::adt {

inline constexpr char k_stratify_range[] = "stratify_frac input must be in [0,1]";

template <class T, class W>
w_vector<T, W>* w_vector<T, W>::select(unsigned long start, unsigned long count,
                                       bool complement) const {
  const unsigned long n = this->size();
  const unsigned long begin = std::min(start, n);
  const unsigned long end = begin + std::min(count, n - begin);
  const auto at = [this](unsigned long i) { return this->begin() + static_cast<long>(i); };
  auto result = std::make_unique<w_vector>();
  if (complement) {
    result->reserve(n - (end - begin));
    result->insert(result->end(), at(0), at(begin));
    result->insert(result->end(), at(end), at(n));
  } else {
    result->assign(at(begin), at(end));
  }
  return result.release();  // to the caller
}

template <class T, class W>
void w_vector<T, W>::randomize(util::seed_source& seeds) {
  util::rand_gen random(this->size(), util::draw::shuffle, seeds);
  randomize(random);
}

// Deliberate: every step draws from the whole list, not from what is left of it.
template <class T, class W>
void w_vector<T, W>::randomize(util::rand_gen& random) {
  const unsigned long n = this->size();
  for (unsigned long i = 0; i < n; ++i) {
    const unsigned long j = random.below(n);
    if (j != i) std::swap((*this)[i], (*this)[j]);
  }
}

template <class T, class W>
void w_vector<T, W>::push_back_random(unsigned long k, unsigned long start, unsigned long n, W w,
                                      util::seed_source& seeds) {
  unsigned long needed = std::min(k, n);
  this->reserve(this->size() + needed);
  util::rand_gen random(n, util::draw::sample, seeds);
  for (unsigned long remaining = n; needed > 0; --remaining) {
    if (random.below(remaining) >= needed) continue;
    this->emplace_back(static_cast<T>(start + (n - remaining)), w);
    --needed;
  }
}

template <class T, class W>
void w_vector<T, W>::push_back_random_repeated(unsigned long k, const w_vector* source) {
  util::rand_gen random(std::min<unsigned long>(k, source->size()), util::draw::bootstrap);
  push_back_random_repeated(k, source, random);
}

template <class T, class W>
void w_vector<T, W>::push_back_random_repeated(unsigned long k, const w_vector* source,
                                               util::rand_gen& random) {
  const unsigned long m = std::min<unsigned long>(k, source->size());
  this->reserve(this->size() + m);  // also keeps the elements in place if the source is this list
  for (unsigned long i = 0; i < m; ++i) this->push_back((*source)[random.below(m)]);
}

template <class T, class W>
template <class F>
unsigned long w_vector<T, W>::stratify_frac(double frac, F class_of, unsigned long n_classes,
                                            bool random, util::seed_source& seeds) {
  if (!(frac >= 0 && frac <= 1)) util::throw_pointer(k_stratify_range);
  return stratify(fraction_of(this->size(), frac), frac, class_of, n_classes, random, seeds);
}

template <class T, class W>
template <class F>
unsigned long w_vector<T, W>::stratify_sample(unsigned long n, F class_of, unsigned long n_classes,
                                              bool random, util::seed_source& seeds) {
  const long double frac = this->empty() ? 0 : static_cast<long double>(n) / this->size();
  return stratify(n, frac, class_of, n_classes, random, seeds);
}

template <class T, class W>
template <class F>
unsigned long w_vector<T, W>::stratify(unsigned long sample, long double frac, F class_of,
                                       unsigned long n_classes, bool random,
                                       util::seed_source& seeds) {
  std::optional<util::rand_gen> draw;  // only where something is drawn
  if (random) draw.emplace(0, util::draw::stratify, seeds);
  if (frac == 0 || frac == 1) {
    if (random) randomize(*draw);
    return frac == 0 ? 0 : this->size();
  }
  std::vector<unsigned long> left(n_classes);  // elements of each class not yet looked at
  for (const auto& element : *this) {
    const unsigned long c = class_of(element.first);
    assert(n_classes == 0 || c < n_classes);
    if (c >= left.size()) left.resize(c + 1);
    ++left[c];
  }
  std::vector<unsigned long> quota = stratify_quotas(left, frac, sample);
  assert(std::accumulate(quota.begin(), quota.end(), 0UL) == sample);

  unsigned long back = sample;
  for (unsigned long front = 0; front < sample;) {
    const unsigned long c = class_of((*this)[front].first);
    assert(left[c] > 0);
    const unsigned long ticket = random ? draw->below(left[c]) : 0;
    --left[c];
    if (ticket < quota[c]) {
      --quota[c];
      ++front;
    } else {
      assert(back < this->size());
      std::swap((*this)[front], (*this)[back++]);
    }
  }
  return sample;
}

}  // namespace zel::adt
