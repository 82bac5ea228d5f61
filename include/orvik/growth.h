// What the trees of ensembles are grown with beside the split type. The defaults are those of a
// single tree that is to be read.
#pragma once

#include <algorithm>
#include <cmath>

namespace orvik {

/// How many attributes a node measures. But for BY_KIND they are drawn at random among those that
/// may vary there, until so many have a valid test or none is left.
struct attribute_draw {
  enum rule : unsigned char {
    BY_KIND,      ///< all, or in a forest floor(log2 k) + 1 that are drawn before any is looked at
    ALL,          ///< all of k
    COUNT,        ///< `amount`
    PERCENT,      ///< floor(k amount / 100)
    SQUARE_ROOT,  ///< floor(sqrt k)
    LOGARITHM     ///< floor(log2 k)
  };
  rule how = BY_KIND;
  double amount = 0;

  bool operator==(const attribute_draw& other) const {
    return how == other.how && amount == other.amount;
  }
  bool is_valid() const { return how <= LOGARITHM && amount >= 0; }
  /// Of k > 0 usable attributes; at least 1, at most k.
  unsigned long of(unsigned long k) const {
    const auto all = static_cast<double>(k);
    double n = all;
    if (how == COUNT) n = amount;
    if (how == PERCENT) n = std::floor(all * amount / 100);
    if (how == SQUARE_ROOT) n = std::floor(std::sqrt(all));
    if (how == LOGARITHM) n = static_cast<double>(std::ilogb(all));
    return static_cast<unsigned long>(std::clamp(n, 1.0, all));
  }
  /// Whether attributes are drawn one by one.
  bool draws() const { return how != BY_KIND && how != ALL; }
};

/// Which tests a node may have.
struct growth {
  attribute_draw attributes;
  /// A branch needs the least weight and no share of the classes, and a cut pays nothing for the
  /// choice among many. To be used with a least weight of 1.
  bool free = false;
  /// A continuous attribute has one cut, drawn between its least and largest value at the node
  /// (Geurts, Ernst and Wehenkel, Extremely randomized trees, 2006).
  bool random_cuts = false;
  /// A discrete attribute of more than two values is tested for one of them.
  bool one_value = false;

  bool operator==(const growth& other) const {
    return attributes == other.attributes && free == other.free &&
           random_cuts == other.random_cuts && one_value == other.one_value;
  }
  bool draws() const { return attributes.draws() || random_cuts; }
};

/// What an ensemble's trees are grown on.
struct resampling {
  double share = 1;       ///< cases drawn for each of those given; in (0, 1] without replacement
  bool replace = true;    ///< a case may be drawn again (Breiman 1996)
  bool balanced = false;  ///< the classes are drawn equally often

  /// Ten draws a case are the most.
  bool is_valid() const { return share > 0 && share <= (replace ? 10 : 1); }
  bool operator==(const resampling& other) const {
    return share == other.share && replace == other.replace && balanced == other.balanced;
  }
};

/// How the trees of an ensemble answer together.
enum class combination : unsigned char {
  votes,  ///< each names a class
  shares  ///< the shares of the classes are averaged
};

// What did best over many tables (docs/accuracy.md), of all settings one for all: trees that are
// not pruned, of a least weight of 1 in a forest and of 2 in boosting, answering by their shares.

constexpr growth k_accurate_growth = {
    {attribute_draw::SQUARE_ROOT, 0}, /*free=*/true, /*random_cuts=*/false, /*one_value=*/true};
/// Of a forest.
constexpr resampling k_accurate_draws = {0.8, /*replace=*/false, /*balanced=*/false};

}  // namespace orvik
