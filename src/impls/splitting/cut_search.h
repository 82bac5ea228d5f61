// The search for the best cut of a continuous attribute.
//
// Known values pass from the right side to the left in ascending order. A cut inside a run of one
// class is passed over: a neighbour of the run is at least as good (Fayyad and Irani 1992).
//
// Terms (Quinlan, C4.5: Programs for Machine Learning, 1993): W is the amount of all cases, U of
// those whose value is unknown, K = W - U.
#pragma once

#include <algorithm>
#include <cassert>
#include <cmath>
#include <cstdint>
#include <limits>
#include <span>
#include <type_traits>
#include <utility>

#include "impls/splitting/cells.h"
#include "impls/splitting/cut_bound.h"
#include "impls/splitting/impurity.h"
#include "impls/tables/column.h"

namespace orvik::impls::splitting {

using splitting_desc = column::splitting_desc;

/// A continuous branch needs a tenth of the known weight a class, between m and this.
constexpr double k_largest_min_split = 25.0;
constexpr double k_min_split_share = 0.1;

/// What is on either side of a cut, and the best cut so far.
template <class Impurity, class Amount>
class cut_search {
 public:
  /// `right` holds the known amount of every class, `left` is zero.
  cut_search(const Impurity& impurity, const node_facts<Amount>& node, Amount unknown,
             std::span<Amount> left, std::span<Amount> right, cut_memory& memory)
      : impurity_(impurity),
        total_(static_cast<double>(node.total)),
        unknown_(unknown),
        known_(node.total - unknown),
        left_(left),
        right_(right),
        bound_(memory),
        free_(node.free) {
    assert(left.size() == node.n_places && right.size() == node.n_places);
    const auto known = static_cast<double>(known_);
    possible_ = !(2 * node.min_weight > known);
    if (!possible_) return;
    const double share = k_min_split_share * known / static_cast<double>(node.n_all_classes);
    const bool by_share = !free_ && node.min_weight < share;
    const double least = by_share ? std::min(k_largest_min_split, share) : node.min_weight;
    least_ = smallest_from(least);
    most_ = largest_to(known - least);
    known_share_ = known / (static_cast<double>(unknown) + known);
  }

  /// Whether two branches of the least weight fit at all.
  bool possible() const { return possible_; }
  void begin() {
    if constexpr (is_exact<Amount>) {
      set_base(right_);
    } else {
      bound_.begin(right_, known_);
    }
  }

  void move(std::size_t place, Amount amount) {
    right_[place] -= amount;
    left_[place] += amount;
    left_sum_ += amount;
    if constexpr (!is_exact<Amount>) bound_.move(place, amount);
  }
  void move_all(std::span<const Amount> amounts) {
    for (std::size_t i = 0; i < amounts.size(); ++i) {
      right_[i] -= amounts[i];
      left_[i] += amounts[i];
      left_sum_ += amounts[i];
      if constexpr (!is_exact<Amount>) bound_.move(i, amounts[i]);
    }
  }
  bool too_light() const { return left_sum_ < least_; }
  bool ended() const { return left_sum_ > most_; }
  void count_try() { ++tries_; }

  /// Weighs the cut between two codes.
  void evaluate(code_t left_code, code_t right_code) {
    if constexpr (!is_exact<Amount>) {
      switch (bound_.judge(left_, left_sum_, right_, known_ - left_sum_)) {
        case cut_bound::verdict::worse:
          return;
        case cut_bound::verdict::better:
          bound_.keep(left_, right_);
          kept_ = {left_code, right_code, 0, 0};
          kept_left_ = left_sum_;
          return;
        case cut_bound::verdict::near:
          weigh_kept();
      }
    }
    weigh(left_code, right_code, left_, left_sum_, right_);
  }

  // What a search that keeps the counts itself asks for.

  /// The least and the most of a left side, both between 1 and what leaves something on the right.
  std::pair<Amount, Amount> window() const {
    return {static_cast<Amount>(std::max<bound>(least_, 1)),
            static_cast<Amount>(std::clamp<bound>(most_, 0, known_ - 1))};
  }
  Amount known() const { return known_; }
  double least_sum() const { return least_sum_; }
  void count_tries(unsigned long tries) { tries_ += tries; }
  /// Keeps the cut that leaves such impurities, added up, if it gains more than all before; @return
  /// whether it does.
  bool take(double sum, Amount left_sum) {
    if (!(sum < least_sum_)) return false;  // no greater gain either: rounding keeps the order
    const double gain = known_share_ * (base_ - sum / static_cast<double>(known_));
    if (!(gain > best_.gain)) return false;  // of equal gains the lowest cut
    least_sum_ = sum;
    best_.gain = gain;
    best_left_ = left_sum;
    return true;
  }
  void name_best(code_t left_code, code_t right_code) {
    best_.left_code = left_code;
    best_.right_code = right_code;
  }

  /// The best cut, its gain less the price of choosing among the tries.
  splitting_desc result() {
    const double price = free_ ? 0 : Impurity::price_of_choice(tries_, total_);
    if constexpr (!is_exact<Amount>) {
      if (bound_.surely_gains_no_more_than(price / known_share_)) return {};
      weigh_kept();
    }
    if (price >= best_.gain) return {};
    assert(best_.left_code < best_.right_code);
    splitting_desc found = best_;
    found.gain -= price;
    info_sum<Amount> sizes;
    sizes.add(unknown_);
    sizes.add(best_left_);
    sizes.add(known_ - best_left_);
    found.split_info = sizes.value() / total_;
    return found;
  }

 private:
  /// Counts are compared as whole numbers.
  using bound = std::conditional_t<is_exact<Amount>, std::int64_t, double>;
  static bound smallest_from(double x) {
    if constexpr (is_exact<Amount>) return static_cast<bound>(std::ceil(x));
    return static_cast<bound>(x);
  }
  static bound largest_to(double x) {
    if constexpr (is_exact<Amount>) return static_cast<bound>(std::floor(x));
    return static_cast<bound>(x);
  }

  void set_base(std::span<const Amount> known) {
    base_ = impurity_.of(known, known_) / static_cast<double>(known_);
    has_base_ = true;
  }
  void weigh(code_t left_code, code_t right_code, std::span<const Amount> left, Amount left_sum,
             std::span<const Amount> right) {
    if constexpr (!is_exact<Amount>) {
      if (!has_base_) set_base(bound_.known());
    }
    const double sum = impurity_.of_both(left, left_sum, right, known_ - left_sum);
    if (take(sum, left_sum)) name_best(left_code, right_code);
  }
  /// That which is kept is better than what was weighed before.
  void weigh_kept() {
    if (kept_.right_code == k_unknown) return;
    weigh(kept_.left_code, kept_.right_code, bound_.kept_left(), kept_left_, bound_.kept_right());
    kept_ = {};
  }

  const Impurity& impurity_;
  double total_;
  Amount unknown_, known_;
  std::span<Amount> left_, right_;
  std::conditional_t<is_exact<Amount>, no_bound, cut_bound> bound_;
  bool free_;
  bool possible_;
  bound least_ = 0, most_ = 0;
  double known_share_ = 1, base_ = 0;
  bool has_base_ = false;
  double least_sum_ = std::numeric_limits<double>::infinity();
  Amount left_sum_ = 0;
  unsigned long tries_ = 0;
  splitting_desc best_, kept_;
  Amount best_left_ = 0, kept_left_ = 0;
};

/// The best cut of cells in any layout. `known`, the amount of every class, is used up; `left` and
/// `memory` are for its work.
template <class Impurity, class Layout, class Amount>
splitting_desc best_cut(const Impurity& impurity, const Layout& cells,
                        const node_facts<Amount>& node, Amount unknown, std::span<Amount> left,
                        std::span<Amount> known, cut_memory& memory) {
  cut_search<Impurity, Amount> search(impurity, node, unknown, left, known, memory);
  value_group value = cells.at(0);
  if (value.is_past_last() || !search.possible()) return {};
  search.begin();
  // The class of the run of values since the last evaluated cut; k_mixed where it is none.
  std::uint32_t run = value.only;
  for (;;) {
    cells.move(value, search);
    if (value.only != run) run = k_mixed;
    const value_group next = cells.at(value.end);
    if (next.is_past_last()) break;
    assert(next.code > value.code);
    if (!search.too_light()) {
      if (search.ended()) break;
      search.count_try();
      if (run == k_mixed || next.only != run) {
        search.evaluate(value.code, next.code);
        run = next.only;
      }
    }
    value = next;
  }
  return search.result();
}

}  // namespace orvik::impls::splitting
