// The draws of an ensemble's trees (Breiman 1996). They follow from the tree's seed alone: nothing
// else need be kept to know them again.
#pragma once

#include <algorithm>
#include <cassert>
#include <cmath>
#include <utility>
#include <vector>

#include "impls/model/training_cases.h"
#include "impls/tables/table.h"
#include "orvik/growth.h"
#include "zel/adt/bitmap.h"
#include "zel/util/rand_gen.h"

namespace orvik::impls {

/// Threads: many readers.
class case_draws {
 public:
  /// Of the cases of `given`, which with the rows of `t` must outlive this.
  case_draws(const resampling& how, const table& t, const training_cases& given)
      : n_(given.size()), replace_(how.replace) {
    if (!how.balanced) {
      parts_.push_back({{}, n_, quota_of(static_cast<double>(n_) * how.share, n_)});
      return;
    }
    for (part& each : parts_by_class(t, given)) {
      if (each.size > 0) parts_.push_back(std::move(each));
    }
    const double each = static_cast<double>(n_) * how.share /
                        static_cast<double>(std::max<std::size_t>(1, parts_.size()));
    for (part& p : parts_) p.wanted = quota_of(each, p.size);
  }

  /// Calls take(position) for each draw from 0 .. n - 1; with replacement in the order of the
  /// draws, without in that of the cases, class by class where these are balanced.
  template <class Take>
  void for_each(unsigned long seed, const Take& take) const {
    if (n_ == 0) return;
    zel::util::rand_gen positions(n_, seed);
    for (const part& p : parts_) {
      replace_ ? draw_again(p, positions, take) : draw_once(p, positions, take);
    }
  }

  /// The positions drawn at least once, as bits of 0 .. n - 1. The others are out of bag: with as
  /// many draws as cases about n / e of them.
  zel::adt::bitmap in_bag(unsigned long seed) const {
    zel::adt::bitmap drawn;
    drawn.resize(n_);
    for_each(seed, [&drawn](unsigned long position) { drawn.set(position); });
    return drawn;
  }

 private:
  /// Cases that are drawn from by themselves.
  struct part {
    std::vector<unsigned long> positions;  // none: all
    unsigned long size;
    unsigned long wanted;

    unsigned long operator[](unsigned long i) const { return positions.empty() ? i : positions[i]; }
  };

  unsigned long quota_of(double wanted, unsigned long size) const {
    const auto n = static_cast<unsigned long>(std::max(1.0, std::round(wanted)));
    return replace_ ? n : std::min(n, size);
  }

  static std::vector<part> parts_by_class(const table& t, const training_cases& given) {
    std::vector<part> parts(t.n_class_codes());
    for (unsigned long i = 0; i < given.size(); ++i) {
      part& of_class = parts[t.class_column().get_row_index(given[i].first)];
      of_class.positions.push_back(i);
      ++of_class.size;
    }
    return parts;
  }

  template <class Take>
  static void draw_again(const part& from, zel::util::rand_gen& draw, const Take& take) {
    for (unsigned long i = 0; i < from.wanted; ++i) take(from[draw.below(from.size)]);
  }
  /// Each case with the chance of what is still wanted among those left (Knuth, The Art of Computer
  /// Programming, volume 2, algorithm S).
  template <class Take>
  static void draw_once(const part& from, zel::util::rand_gen& draw, const Take& take) {
    assert(from.wanted <= from.size);
    unsigned long wanted = from.wanted;
    for (unsigned long i = 0; wanted > 0; ++i) {
      if (draw.below(from.size - i) >= wanted) continue;
      take(from[i]);
      --wanted;
    }
  }

  unsigned long n_;
  bool replace_;
  std::vector<part> parts_;
};

}  // namespace orvik::impls
