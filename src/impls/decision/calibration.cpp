#include "impls/decision/calibration.h"

#include <algorithm>
#include <array>
#include <cassert>
#include <cmath>

namespace orvik::impls {

namespace {

double sigmoid_of(double at) {
  return at >= 0 ? std::exp(-at) / (1 + std::exp(-at)) : 1 / (1 + std::exp(at));
}

/// Rows of neighbouring shares that get one value: the part of them that is positive.
struct block {
  double first, last;  // shares
  double weight, positive;

  double value() const { return positive / weight; }
};

/// One block a share, ascending.
std::vector<block> blocks_of(std::vector<share_seen> rows) {
  std::ranges::stable_sort(rows, {}, &share_seen::share);
  std::vector<block> blocks;
  for (const share_seen& row : rows) {
    if (blocks.empty() || blocks.back().last != row.share) {
      blocks.push_back({row.share, row.share, 0, 0});
    }
    blocks.back().weight += row.weight;
    if (row.positive) blocks.back().positive += row.weight;
  }
  return blocks;
}

/// Pools neighbours until no value is below the one before it.
std::vector<block> pooled(const std::vector<block>& blocks) {
  std::vector<block> done;
  for (block next : blocks) {
    while (!done.empty() && done.back().value() >= next.value()) {
      next.first = done.back().first;
      next.weight += done.back().weight;
      next.positive += done.back().positive;
      done.pop_back();
    }
    done.push_back(next);
  }
  return done;
}

/// The likelihood of Platt's targets as a function of a and b.
class platt_fit {
 public:
  explicit platt_fit(const std::vector<share_seen>& rows) : rows_(rows) {
    double positive = 0, negative = 0;
    for (const share_seen& row : rows) (row.positive ? positive : negative) += row.weight;
    target_ = {1 / (negative + 2), (positive + 1) / (positive + 2)};
    b_ = std::log((negative + 1) / (positive + 1));
  }

  share_map fit() {
    constexpr int k_most_steps = 100;
    constexpr double k_flat = 1e-10;
    for (int step = 0; step < k_most_steps; ++step) {
      const slopes at = slopes_here();
      const double flat = k_flat * (1 + at.weight);
      if (std::abs(at.a) < flat && std::abs(at.b) < flat) break;
      if (!go(at)) break;
    }
    return {{}, {}, a_, b_};
  }

 private:
  /// First and second derivatives.
  struct slopes {
    double a = 0, b = 0, aa = 0, ab = 0, bb = 0, weight = 0;
  };

  slopes slopes_here() const {
    constexpr double k_ridge = 1e-12;  // keeps the matrix invertible
    slopes sum;
    sum.aa = sum.bb = k_ridge;
    for (const share_seen& row : rows_) {
      const double p = sigmoid_of(a_ * row.share + b_);
      const double first = row.weight * (target_[row.positive] - p);
      const double second = row.weight * p * (1 - p);
      sum.a += row.share * first;
      sum.b += first;
      sum.aa += row.share * row.share * second;
      sum.ab += row.share * second;
      sum.bb += second;
      sum.weight += row.weight;
    }
    return sum;
  }

  /// -ln of the likelihood.
  double loss(double a, double b) const {
    double sum = 0;
    for (const share_seen& row : rows_) {
      const double at = a * row.share + b, t = target_[row.positive];
      sum += row.weight * (at >= 0 ? t * at + std::log1p(std::exp(-at))
                                   : (t - 1) * at + std::log1p(std::exp(at)));
    }
    return sum;
  }

  /// A step of Newton's, halved until it leads down. @return false where none does.
  bool go(const slopes& at) {
    constexpr double k_least_step = 1e-10, k_descent = 1e-4;
    const double det = at.aa * at.bb - at.ab * at.ab;
    const double da = -(at.bb * at.a - at.ab * at.b) / det;
    const double db = -(at.aa * at.b - at.ab * at.a) / det;
    const double descent = at.a * da + at.b * db, here = loss(a_, b_);
    for (double step = 1; step >= k_least_step; step /= 2) {
      if (!(loss(a_ + step * da, b_ + step * db) < here + k_descent * step * descent)) continue;
      a_ += step * da;
      b_ += step * db;
      return true;
    }
    return false;
  }

  const std::vector<share_seen>& rows_;
  std::array<double, 2> target_{};
  double a_ = 0, b_ = 0;
};

}  // namespace

share_map isotonic_map(std::vector<share_seen> rows) {
  assert(!rows.empty());
  share_map map;
  for (const block& each : pooled(blocks_of(std::move(rows)))) {
    map.x.push_back(each.first);
    map.y.push_back(each.value());
    if (each.last == each.first) continue;
    map.x.push_back(each.last);
    map.y.push_back(each.value());
  }
  return map;
}

share_map platt_map(const std::vector<share_seen>& rows) { return platt_fit(rows).fit(); }

calibrator calibrator::fit(calibration how, std::span<const code_t> actual,
                           std::span<const double> weights, std::span<const double> shares,
                           std::size_t n_codes) {
  const bool maps_any = how == calibration::isotonic || how == calibration::platt;
  std::vector<share_map> maps;
  for (code_t c = n_codes == 3 ? 2 : 1; maps_any && n_codes > 2 && c < n_codes; ++c) {
    std::vector<share_seen> seen;
    for (std::size_t i = 0; i < actual.size(); ++i) {
      if (actual[i] == k_unknown || !(weights[i] > 0)) continue;
      seen.push_back({shares[i * n_codes + c], actual[i] == c, weights[i]});
    }
    if (seen.empty()) break;
    maps.push_back(how == calibration::isotonic ? isotonic_map(std::move(seen)) : platt_map(seen));
  }
  return {how, std::move(maps)};
}

void calibrator::apply(std::span<double> shares) const {
  if (maps_.empty()) return;
  if (maps_.size() == 1) {
    shares[2] = maps_[0](shares[2]);
    shares[1] = 1 - shares[2];
    shares[0] = 0;
    return;
  }
  double sum = 0;
  for (std::size_t c = 1; c < shares.size(); ++c) sum += maps_[c - 1](shares[c]);
  if (!(sum > 0)) return;
  shares[0] = 0;
  for (std::size_t c = 1; c < shares.size(); ++c) shares[c] = maps_[c - 1](shares[c]) / sum;
}

}  // namespace orvik::impls

namespace orvik {

double share_map::operator()(double share) const {
  if (x.empty()) return impls::sigmoid_of(a * share + b);
  const auto above = std::ranges::upper_bound(x, share);
  if (above == x.begin()) return y.front();
  if (above == x.end()) return y.back();
  const auto i = static_cast<std::size_t>(above - x.begin());
  const double part = (share - x[i - 1]) / (x[i] - x[i - 1]);
  return std::min(y[i - 1] + part * (y[i] - y[i - 1]), y[i]);
}

}  // namespace orvik
