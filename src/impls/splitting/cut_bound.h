// Comparing cuts without the exact sums of their sides.
//
// A logarithm of a weight costs as much as ten additions, and a sum over all classes has two for
// each. Here the terms of the classes are kept and those that changed are computed anew, from
// logarithms good to ten digits. That tells what is clearly worse than the best so far, and what is
// clearly better: that is kept, and computed in full only when nothing clearly better follows.
#pragma once

#include <algorithm>
#include <array>
#include <bit>
#include <cmath>
#include <cstdint>
#include <limits>
#include <numbers>
#include <span>
#include <vector>

namespace orvik::impls::splitting {

/// w log2 w for 0 <= w, to within w / 10^10; of 0 it is 0. Threads: many readers.
class near_logs {
 public:
  static const near_logs& get() {
    static const near_logs table;
    return table;
  }
  double of(double w) const { return w * log2(w); }
  double log2(double w) const {
    const auto bits = std::bit_cast<std::uint64_t>(w);
    const part& of_mantissa = parts_[bits >> (k_mantissa - k_bits) & (k_parts - 1)];
    const auto one_to_two = std::bit_cast<double>((bits & k_mantissa_mask) | k_one);
    const double r = one_to_two * of_mantissa.inverse - 1;  // at most 2^-8
    const auto exponent = static_cast<double>(static_cast<std::int64_t>(bits >> k_mantissa));
    return exponent + of_mantissa.log + r * (k_first - r * (k_second - r * k_third));
  }

 private:
  static constexpr unsigned k_mantissa = 52, k_bits = 7;
  static constexpr std::size_t k_parts = 1U << k_bits;
  static constexpr std::uint64_t k_one = std::uint64_t{1023} << k_mantissa;
  static constexpr std::uint64_t k_mantissa_mask = (std::uint64_t{1} << k_mantissa) - 1;
  static constexpr double k_first = std::numbers::log2e, k_second = k_first / 2,
                          k_third = k_first / 3;

  near_logs() {
    for (std::size_t i = 0; i < k_parts; ++i) {
      const double middle = 1 + (static_cast<double>(i) + 0.5) / k_parts;
      parts_[i] = {1 / middle, std::log2(middle) - 1023};
    }
  }

  struct part {
    double inverse, log;  // of the middle; the logarithm less the bias of exponents
  };
  std::array<part, k_parts> parts_;
};

/// Memory of one search, kept by each thread. All by place.
struct cut_memory {
  std::vector<double> terms;               // of both sides together
  std::vector<double> known, left, right;  // of all cases; of the cut that is kept
};

/// For counts, whose logarithms are looked up.
struct no_bound {
  explicit no_bound(cut_memory&) {}
};

/// Of weights by place on two sides: about S log2 S of either side less the terms of all classes.
class cut_bound {
 public:
  explicit cut_bound(cut_memory& memory) : memory_(memory) {}

  void begin(std::span<const double> known, double known_sum) {
    memory_.known.assign(known.begin(), known.end());
    memory_.terms.clear();
    known_sum_ = known_sum;
    for (const double w : known) sum_ += memory_.terms.emplace_back(logs_.of(std::max(w, 0.0)));
    all_ = logs_.of(known_sum) - sum_;
    n_moved_ = known.size();
    rest_ = logs_.log2(static_cast<double>(known.size())) + std::numbers::log2e;
  }
  void move(std::size_t place, double amount) {
    changed_ |= std::uint64_t{amount != 0} << std::min(place, k_last);
    ++n_moved_;
  }

  enum class verdict { worse, near, better };
  /// How surely this cut compares with all before.
  verdict judge(std::span<const double> left, double left_sum, std::span<const double> right,
                double right_sum) {
    if (left_sum < reach_) return verdict::worse;
    renew(left, right);
    const double about = logs_.of(left_sum) + logs_.of(std::max(right_sum, 0.0)) - sum_;
    const double apart = 2 * error();
    if (about > least_ + apart) {
      if (known_sum_ > k_worth_reaching) reach_ = left_sum + reach_of(about - least_ - apart);
      return verdict::worse;
    }
    const bool is_better = about < least_ - apart;
    least_ = std::min(least_, about);
    return is_better ? verdict::better : verdict::near;
  }
  /// Whether no cut so far takes away more than `gain` a known weight.
  bool surely_gains_no_more_than(double gain) const {
    return all_ - least_ + 2 * error() < gain * known_sum_;
  }

  void keep(std::span<const double> left, std::span<const double> right) {
    memory_.left.assign(left.begin(), left.end());
    memory_.right.assign(right.begin(), right.end());
  }
  std::span<const double> known() const { return memory_.known; }
  std::span<const double> kept_left() const { return memory_.left; }
  std::span<const double> kept_right() const { return memory_.right; }

 private:
  static constexpr std::size_t k_last = 63;    // the bit of all places from it on
  static constexpr double k_error = 1e-9;      // of all logarithms, by weight
  static constexpr double k_rounding = 1e-12;  // of a sum, times any logarithm of a number

  static constexpr double k_worth_reaching = 100;  // weight

  /// How much weight may move on until the sum can be less by `gap`. Moving d_p of class p takes
  /// off at most the integral of log2(R / r_p), where R and r_p are what is left on the right: with
  /// r_p >= d_p - moved no more than d (log2(K / d) + log2 classes + log2 e) for d = sum of d_p.
  /// That is at most the gap where d = gap / B and B >= log2(K / gap) + log2 classes + log2 e +
  /// log2 B.
  double reach_of(double gap) const {
    const double b = std::max(2.0, logs_.log2(known_sum_ / gap) + rest_);
    return gap / (1.15 * b + 3);
  }
  double error() const {
    return known_sum_ * (k_error + static_cast<double>(n_moved_) * k_rounding);
  }
  void renew(std::span<const double> left, std::span<const double> right) {
    for (; changed_ != 0; changed_ &= changed_ - 1) {
      const auto place = static_cast<std::size_t>(std::countr_zero(changed_));
      renew(place, left, right);
      if (place < k_last) continue;
      for (std::size_t p = k_last + 1; p < left.size(); ++p) renew(p, left, right);
    }
  }
  void renew(std::size_t place, std::span<const double> left, std::span<const double> right) {
    const double term = logs_.of(left[place]) + logs_.of(std::max(right[place], 0.0));
    sum_ += term - memory_.terms[place];
    memory_.terms[place] = term;
  }

  const near_logs& logs_ = near_logs::get();
  cut_memory& memory_;
  double known_sum_ = 0, sum_ = 0, all_ = 0;
  double reach_ = 0, rest_ = 0;
  double least_ = std::numeric_limits<double>::infinity();
  std::uint64_t changed_ = 0;  // places since the last sum
  std::size_t n_moved_ = 0;
};

}  // namespace orvik::impls::splitting
