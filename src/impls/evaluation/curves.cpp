#include "impls/evaluation/curves.h"

#include <algorithm>
#include <array>
#include <cmath>
#include <limits>

namespace orvik::impls {

namespace {

constexpr std::size_t k_most_points = 200;
constexpr std::size_t k_bins = 10;

/// Weights of the rows from a share upwards.
struct taken_rows {
  double positive, negative, share;
};

/// After each group of equal shares, from nothing to all rows.
std::vector<taken_rows> steps_of(std::span<const scored_row> rows) {
  std::vector<taken_rows> steps{{0, 0, std::numeric_limits<double>::infinity()}};
  for (const scored_row& row : rows) {
    if (row.share != steps.back().share) {
      steps.push_back({steps.back().positive, steps.back().negative, row.share});
    }
    steps.back().positive += row.positive;
    steps.back().negative += row.negative;
  }
  return steps;
}

double precision_of(const taken_rows& taken) {
  const double all = taken.positive + taken.negative;
  return all > 0 ? taken.positive / all : 0;
}

double area_under_roc(std::span<const taken_rows> steps) {
  const taken_rows all = steps.back();
  double area = 0;
  for (std::size_t i = 1; i < steps.size(); ++i) {
    const double width = (steps[i].negative - steps[i - 1].negative) / all.negative;
    area += width * (steps[i].positive + steps[i - 1].positive) / all.positive / 2;
  }
  return area;
}

double average_precision_of(std::span<const taken_rows> steps) {
  double sum = 0;
  for (std::size_t i = 1; i < steps.size(); ++i) {
    sum += (steps[i].positive - steps[i - 1].positive) * precision_of(steps[i]);
  }
  return sum / steps.back().positive;
}

/// Whether a straight line goes from the step before over this one to the next.
bool is_between(const taken_rows& before, const taken_rows& at, const taken_rows& next) {
  return (at.positive - before.positive) * (next.negative - at.negative) ==
         (next.positive - at.positive) * (at.negative - before.negative);
}

/// The corners of the curve of true over false positives, the ends among them.
std::vector<taken_rows> corners_of(std::span<const taken_rows> steps) {
  std::vector<taken_rows> corners;
  for (std::size_t i = 0; i < steps.size(); ++i) {
    const bool end = i == 0 || i + 1 == steps.size();
    if (end || !is_between(corners.back(), steps[i], steps[i + 1])) corners.push_back(steps[i]);
  }
  return corners;
}

/// At most k_most_points of them, evenly, the ends among them; point(step) makes each.
template <class Point>
std::vector<curve_point> thinned(std::span<const taken_rows> steps, const Point& point) {
  std::vector<curve_point> points;
  const std::size_t n = std::min(steps.size(), k_most_points);
  for (std::size_t i = 0; i < n; ++i) {
    points.push_back(point(steps[n == 1 ? 0 : i * (steps.size() - 1) / (n - 1)]));
  }
  return points;
}

}  // namespace

void set_curves(std::span<scored_row> rows, class_metrics& of) {
  std::ranges::sort(rows, std::ranges::greater(), &scored_row::share);
  const std::vector<taken_rows> steps = steps_of(rows);
  const taken_rows all = steps.back();
  const bool both = all.positive > 0 && all.negative > 0;
  of.roc_area = both ? area_under_roc(steps) : std::numeric_limits<double>::quiet_NaN();
  of.average_precision = all.positive > 0 ? average_precision_of(steps) : of.roc_area;
  if (!both) return;
  of.roc = thinned(corners_of(steps), [&all](const taken_rows& s) {
    return curve_point{s.negative / all.negative, s.positive / all.positive, s.share};
  });
  of.precision_recall = thinned(std::span(steps).subspan(1), [&all](const taken_rows& s) {
    return curve_point{s.positive / all.positive, precision_of(s), s.share};
  });
}

std::vector<reliability_bin> reliability_of(std::span<const scored_row> rows) {
  std::array<reliability_bin, k_bins> bins{};
  for (const scored_row& row : rows) {
    const double tenth = std::ceil(row.share * k_bins) - 1;  // a border belongs to the lower one
    reliability_bin& bin = bins[static_cast<std::size_t>(std::clamp(tenth, 0.0, k_bins - 1.0))];
    const double weight = row.positive + row.negative;
    bin.weight += weight;
    bin.share += weight * row.share;
    bin.frequency += row.positive;
  }
  std::vector<reliability_bin> found;
  for (const reliability_bin& bin : bins) {
    if (!(bin.weight > 0)) continue;
    found.push_back({bin.weight, bin.share / bin.weight, bin.frequency / bin.weight});
  }
  return found;
}

}  // namespace orvik::impls
