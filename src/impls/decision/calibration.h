// Maps of shares to probabilities, and how they are fitted.
//
// A model's share of a class ranks rows well, but 0.9 need not mean that nine of ten such rows are
// of the class: trees are sure of leaves of few cases, and means of many trees shun 0 and 1. A map
// is fitted to rows that the trees were not grown on.
#pragma once

#include <span>
#include <vector>

#include "orvik/probabilities.h"
#include "zel/inpout/binstream.h"

namespace orvik::impls {

/// A row as one class sees it: the share it got, and whether it is of the class.
struct share_seen {
  double share;
  bool positive;
  double weight;  // above 0
};

/// Least squares among the functions that never fall, by pooling adjacent violators (Ayer et al.
/// 1955). Between the blocks it is linear, outside of them constant. O(n log n).
share_map isotonic_map(std::vector<share_seen> rows);
/// Most likely a and b for Platt's targets, which keep away from 0 and 1: (n+ + 1) / (n+ + 2) and
/// 1 / (n- + 2); by Newton's method with backtracking (Lin, Lin and Weng 2007).
share_map platt_map(const std::vector<share_seen>& rows);

/// The maps of a model. Of two known classes it has one, of the share of the second; of more one
/// for each; none of one class, and where the shares stay as they are.
class calibrator {
 public:
  calibrator() = default;
  calibrator(calibration how, std::vector<share_map> maps) : how_(how), maps_(std::move(maps)) {}
  /// Fitted to rows with their shares by class code, of which code 0 is the unknown class. Rows of
  /// unknown class and of no weight are not looked at.
  static calibrator fit(calibration how, std::span<const code_t> actual,
                        std::span<const double> weights, std::span<const double> shares,
                        std::size_t n_codes);

  calibration how() const { return how_; }
  const std::vector<share_map>& maps() const { return maps_; }
  /// Whether shares become others.
  bool changes() const { return !maps_.empty(); }
  /// Shares by class code in place. That of the unknown class becomes 0; where every map gives 0
  /// they stay as they are.
  void apply(std::span<double> shares) const;
  /// Whether they are of a table with so many class codes.
  bool fits(std::size_t n_class_codes) const;
  bool operator==(const calibrator&) const = default;

  void bin_out(zel::inpout::obinstream& out) const;
  /// Throws std::runtime_error for maps that are none.
  static calibrator bin_in(zel::inpout::ibinstream& in);

 private:
  calibration how_ = calibration::none;
  std::vector<share_map> maps_;
};

}  // namespace orvik::impls
