// Sets of classes with a promise, by split conformal prediction.
//
// Rows that the trees were not grown on give their own classes some shares. A new row is one more
// of them, as likely in any place of their order: with n rows, its own class gets at least the k-th
// largest of these shares, k = ceil((n + 1) C), with a probability of at least C. So the set of all
// classes with such a share holds the true one (Vovk, Gammerman and Shafer 2005; with 1 - share as
// the score Sadinle, Lei and Wasserman 2019: the smallest sets on average where shares are right).
// Rows of a class by themselves make the promise to the rows of that class.
#pragma once

#include <span>
#include <vector>

#include "orvik/probabilities.h"
#include "zel/inpout/binstream.h"

namespace orvik::impls {

/// The shares that rows gave their own class, by class, and their weights.
/// Shape: by class code; of a class distinct shares, descending, at most k_most_steps of them.
/// Where there were more, shares are taken for the next smaller ones that are kept: sets grow, and
/// hold what is promised.
class own_shares {
 public:
  struct step {
    double share, weight;

    bool operator==(const step&) const = default;
  };
  static constexpr std::size_t k_most_steps = 1UL << 12;

  own_shares() = default;
  explicit own_shares(std::vector<std::vector<step>> by_class) : by_class_(std::move(by_class)) {}
  /// Of rows with their shares by class code. Rows of unknown class and of no weight are not looked
  /// at.
  static own_shares of(std::span<const code_t> actual, std::span<const double> weights,
                       std::span<const double> shares, std::size_t n_codes);

  bool empty() const { return by_class_.empty(); }
  const std::vector<std::vector<step>>& by_class() const { return by_class_; }
  /// The least share, by class code, with which a class is in a set: 0, which every class has,
  /// where there are too few rows for the promise. A share of none for the unknown class.
  std::vector<double> limits(const set_request& asked) const;
  /// Whether they are of a table with so many class codes.
  bool fits(std::size_t n_class_codes) const {
    return by_class_.empty() || by_class_.size() == n_class_codes;
  }
  bool operator==(const own_shares&) const = default;

  void bin_out(zel::inpout::obinstream& out) const;
  /// Throws std::runtime_error for shares that are none.
  static own_shares bin_in(zel::inpout::ibinstream& in);

 private:
  std::vector<std::vector<step>> by_class_;
};

/// The largest share that `percent` of the weight of the steps and of one more row, of weight 1,
/// reach; 0 where no share is reached by so many. `steps` in any order.
double share_limit(std::vector<own_shares::step> steps, double percent);

}  // namespace orvik::impls
