// Figures over all rows and of each class, from classes and predicted classes and from the shares
// of the classes.
#include "orvik/metrics.h"

#include <algorithm>
#include <cassert>
#include <cmath>
#include <limits>
#include <span>
#include <stdexcept>

#include "impls/evaluation/curves.h"

namespace orvik {

namespace {

constexpr char k_other_classes[] = "the rows to append have other classes";
constexpr double k_nan = std::numeric_limits<double>::quiet_NaN();
constexpr double k_least_share = std::numeric_limits<double>::epsilon();
constexpr double k_normal_95 = 1.959963984540054;  // deviate of a two-sided 95 %

double ratio_or_0(double part, double whole) { return whole > 0 ? part / whole : 0; }

/// Weights of the rows of known class.
struct margins {
  std::vector<double> actual, predicted, right;  // by code
  double all = 0, all_right = 0;
};

margins margins_of(const judged_rows& rows) {
  const std::vector<double> none(rows.classes.size());
  margins sums{none, none, none};
  for (row_t i = 0; i < rows.size(); ++i) {
    const code_t actual = rows.actual[i];
    if (actual == k_unknown) continue;
    sums.actual[actual] += rows.weights[i];
    sums.predicted[rows.predicted[i]] += rows.weights[i];
    if (actual == rows.predicted[i]) sums.right[actual] += rows.weights[i];
  }
  for (const double weight : sums.actual) sums.all += weight;
  for (const double weight : sums.right) sums.all_right += weight;
  return sums;
}

/// Of a share of n draws (Wilson, Probable inference, 1927).
std::pair<double, double> wilson_interval(double share, double n) {
  if (!(n > 0)) return {k_nan, k_nan};
  const double z2 = k_normal_95 * k_normal_95;
  const double middle = (share + z2 / (2 * n)) / (1 + z2 / n);
  const double half =
      k_normal_95 / (1 + z2 / n) * std::sqrt(share * (1 - share) / n + z2 / (4 * n * n));
  return {std::max(0.0, middle - half), std::min(1.0, middle + half)};
}

/// Adds up what is over all.
class summary {
 public:
  summary(const judged_rows& rows, metrics& into) : rows_(rows), into_(into) {}

  void write(const margins& sums) {
    count_rows();
    into_.weight = sums.all;
    into_.accuracy = sums.all > 0 ? sums.all_right / sums.all : k_nan;
    set_interval();
    set_agreement(sums);
    set_losses(rows_.shares, into_.log_loss, into_.brier);
    set_losses(rows_.plain, into_.plain_log_loss, into_.plain_brier);
  }

 private:
  void count_rows() {
    into_.n_unknown = static_cast<unsigned long>(std::ranges::count(rows_.actual, k_unknown));
    into_.n_rows = rows_.size() - into_.n_unknown;
  }

  void set_interval() {
    double sum = 0, squares = 0;
    for (row_t i = 0; i < rows_.size(); ++i) {
      if (rows_.actual[i] == k_unknown) continue;
      sum += rows_.weights[i];
      squares += rows_.weights[i] * rows_.weights[i];
    }
    const double n = ratio_or_0(sum * sum, squares) / rows_.times;
    const auto [from, to] = wilson_interval(into_.accuracy, n);
    into_.accuracy_from = from;
    into_.accuracy_to = to;
  }

  void set_agreement(const margins& sums) {
    double recalls = 0, n = 0, by_chance = 0;
    for (code_t c = 1; c < sums.actual.size(); ++c) {
      by_chance += sums.actual[c] / sums.all * (sums.predicted[c] / sums.all);
      if (!(sums.actual[c] > 0)) continue;
      recalls += sums.right[c] / sums.actual[c];
      ++n;
    }
    into_.balanced_accuracy = n > 0 ? recalls / n : k_nan;
    into_.kappa = by_chance == 1 ? k_nan : (into_.accuracy - by_chance) / (1 - by_chance);
  }

  void set_losses(const std::vector<double>& all, double& mean_log_loss, double& mean_brier) const {
    double log_loss = 0, brier = 0;
    const std::size_t k = rows_.classes.size();
    for (row_t i = 0; i < rows_.size() && !all.empty(); ++i) {
      if (rows_.actual[i] == k_unknown) continue;
      const std::span<const double> shares = std::span(all).subspan(i * k, k);
      log_loss += rows_.weights[i] * log_loss_of(shares, rows_.actual[i]);
      brier += rows_.weights[i] * brier_of(shares, rows_.actual[i]);
    }
    const bool known = into_.weight > 0 && !all.empty();
    mean_log_loss = known ? log_loss / into_.weight : k_nan;
    mean_brier = known ? brier / into_.weight : k_nan;
  }

  static double log_loss_of(std::span<const double> shares, code_t actual) {
    const auto kept = [](double share) {
      return std::clamp(share, k_least_share, 1 - k_least_share);
    };
    double sum = 0;
    for (const double share : shares.subspan(1)) sum += kept(share);
    return -std::log(kept(shares[actual]) / sum);
  }

  static double brier_of(std::span<const double> shares, code_t actual) {
    double sum = 0;
    for (code_t c = 1; c < shares.size(); ++c) {
      const double distance = shares[c] - (c == actual ? 1 : 0);
      sum += distance * distance;
    }
    return sum;
  }

  const judged_rows& rows_;
  metrics& into_;
};

std::vector<impls::scored_row> scored_rows(const judged_rows& rows,
                                           const std::vector<double>& shares, code_t c) {
  std::vector<impls::scored_row> scored;
  for (row_t i = 0; i < rows.size(); ++i) {
    if (rows.actual[i] == k_unknown) continue;
    const bool positive = rows.actual[i] == c;
    const double weight = rows.weights[i], share = shares[i * rows.classes.size() + c];
    scored.push_back({share, positive ? weight : 0, positive ? 0 : weight});
  }
  return scored;
}

void set_probabilities(const judged_rows& rows, class_metrics& of) {
  std::vector<impls::scored_row> scored = scored_rows(rows, rows.shares, of.code);
  impls::set_curves(scored, of);
  of.reliability = impls::reliability_of(scored);
  if (!rows.plain.empty()) {
    of.plain_reliability = impls::reliability_of(scored_rows(rows, rows.plain, of.code));
  }
}

class_metrics metrics_of_class(const judged_rows& rows, const margins& sums, code_t c) {
  class_metrics one{};
  one.code = c;
  one.name = rows.classes[c];
  one.support = sums.actual[c];
  one.precision = ratio_or_0(sums.right[c], sums.predicted[c]);
  one.recall = ratio_or_0(sums.right[c], sums.actual[c]);
  one.f1 = ratio_or_0(2 * one.precision * one.recall, one.precision + one.recall);
  one.roc_area = one.average_precision = k_nan;
  if (!rows.shares.empty()) set_probabilities(rows, one);
  return one;
}

/// weight_of(class) of the classes for which `figure` is a number.
template <class WeightOf>
double mean_of(const std::vector<class_metrics>& classes, double class_metrics::*figure,
               const WeightOf& weight_of) {
  double sum = 0, weights = 0;
  for (const class_metrics& each : classes) {
    if (std::isnan(each.*figure)) continue;
    sum += weight_of(each) * each.*figure;
    weights += weight_of(each);
  }
  return weights > 0 ? sum / weights : k_nan;
}

template <class WeightOf>
mean_metrics means_of(const std::vector<class_metrics>& classes, const WeightOf& weight_of) {
  const auto mean = [&](double class_metrics::*figure) {
    return mean_of(classes, figure, weight_of);
  };
  return {mean(&class_metrics::precision), mean(&class_metrics::recall), mean(&class_metrics::f1),
          mean(&class_metrics::roc_area), mean(&class_metrics::average_precision)};
}

std::vector<std::vector<double>> matrix_of(const judged_rows& rows) {
  const std::size_t k = rows.classes.size();
  std::vector<std::vector<double>> matrix(k, std::vector<double>(k));
  for (row_t i = 0; i < rows.size(); ++i) {
    matrix[rows.actual[i]][rows.predicted[i]] += rows.weights[i];
  }
  return matrix;
}

template <class T>
void append_all(std::vector<T>& to, const std::vector<T>& from) {
  to.insert(to.end(), from.begin(), from.end());
}

}  // namespace

metrics metrics_of(const judged_rows& rows, const std::string& source) {
  assert(rows.shares.empty() || rows.shares.size() == rows.size() * rows.classes.size());
  metrics all{};
  all.rows = source;
  if (rows.classes.size() <= k_most_judged_classes) all.matrix = matrix_of(rows);
  const margins sums = margins_of(rows);
  summary(rows, all).write(sums);
  for (code_t c = 1; c < rows.classes.size(); ++c) {
    if (!(sums.actual[c] > 0) && !(sums.predicted[c] > 0)) continue;
    all.classes.push_back(metrics_of_class(rows, sums, c));
  }
  all.mean = means_of(all.classes, [](const class_metrics&) { return 1.0; });
  all.weighted_mean = means_of(all.classes, [](const class_metrics& c) { return c.support; });
  return all;
}

void append(judged_rows& rows, const judged_rows& more) {
  if (rows.classes.empty()) rows.classes = more.classes;
  if (rows.classes != more.classes) throw std::runtime_error(k_other_classes);
  append_all(rows.actual, more.actual);
  append_all(rows.predicted, more.predicted);
  append_all(rows.weights, more.weights);
  append_all(rows.shares, more.shares);
  append_all(rows.plain, more.plain);
}

}  // namespace orvik
