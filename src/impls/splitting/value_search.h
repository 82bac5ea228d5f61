// The search for the best test of one value of a discrete attribute against all others.
#pragma once

#include <algorithm>
#include <cassert>
#include <span>

#include "impls/splitting/cells.h"
#include "impls/splitting/impurity.h"
#include "impls/tables/column.h"

namespace orvik::impls::splitting {

/// What a value has and what is left to the others, and the best value so far.
template <class Impurity, class Amount>
class value_search {
 public:
  /// `known` holds the known amount of every class; the others are memory of as many places.
  value_search(const Impurity& impurity, const node_facts<Amount>& node, Amount unknown,
               std::span<const Amount> known, std::span<Amount> own, std::span<Amount> others)
      : impurity_(impurity),
        node_(node),
        unknown_(unknown),
        known_sum_(node.total - unknown),
        known_(known),
        own_(own),
        others_(others) {
    assert(known.size() == node.n_places && own.size() == known.size());
    const auto k = static_cast<double>(known_sum_);
    known_share_ = k / static_cast<double>(node.total);
    base_ = impurity.of(known, known_sum_) / k;
  }

  void begin() {
    std::ranges::fill(own_, Amount{0});
    std::ranges::copy(known_, others_.begin());
    sum_ = 0;
  }
  void move(std::size_t place, Amount amount) {
    own_[place] += amount;
    // Of weights a difference of what should be equal may be less than nothing.
    others_[place] = amount < others_[place] ? others_[place] - amount : Amount{0};
    sum_ += amount;
  }
  void move_all(std::span<const Amount> amounts) {
    for (std::size_t i = 0; i < amounts.size(); ++i) move(i, amounts[i]);
  }
  void evaluate(code_t code) {
    const auto own = static_cast<double>(sum_);
    const double others = static_cast<double>(known_sum_) - own;
    if (own < node_.min_weight || others < node_.min_weight || !(others > 0)) return;
    const double infos = impurity_.of_both(std::span<const Amount>(own_), sum_,
                                           std::span<const Amount>(others_), known_sum_ - sum_);
    const double gain = known_share_ * (base_ - infos / static_cast<double>(known_sum_));
    if (!(gain > best_.gain)) return;  // of equal gains the lowest code
    best_ = {code, code, gain, 0};
    best_sum_ = sum_;
  }

  column::splitting_desc result() const {
    if (best_.left_code == k_unknown) return {};
    column::splitting_desc found = best_;
    info_sum<Amount> sizes;
    sizes.add(unknown_);
    sizes.add(best_sum_);
    sizes.add(known_sum_ - best_sum_);
    found.split_info = sizes.value() / static_cast<double>(node_.total);
    return found;
  }

 private:
  const Impurity& impurity_;
  const node_facts<Amount>& node_;
  Amount unknown_, known_sum_;
  std::span<const Amount> known_;
  std::span<Amount> own_, others_;
  double known_share_, base_;
  Amount sum_ = 0, best_sum_ = 0;
  column::splitting_desc best_;
};

/// The best value of cells in any layout; s.known holds the known amount of every class.
/// O(values * classes).
template <class Impurity, class Layout, class Amount>
column::splitting_desc best_value(const Impurity& impurity, const Layout& cells,
                                  const node_facts<Amount>& node, Amount unknown,
                                  scratch<Amount>& s) {
  if (node.total == unknown) return {};
  s.left.resize(node.n_places);
  s.others.resize(node.n_places);
  value_search<Impurity, Amount> search(impurity, node, unknown, s.known, s.left, s.others);
  for (value_group value = cells.at(0); !value.is_past_last(); value = cells.at(value.end)) {
    search.begin();
    cells.move(value, search);
    search.evaluate(value.code);
  }
  return search.result();
}

}  // namespace orvik::impls::splitting
