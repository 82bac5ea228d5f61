// How good predictions are: figures by class and over all, where a threshold leads, and whether the
// shares of the classes mean what they say.
//
// Rows count by their weights. A row whose class is unknown is left out of everything but their
// number; a row predicted as unknown is wrong. What has nothing to be computed from is
// not-a-number, but precision, recall and F1 are 0 then.
#pragma once

#include <ostream>
#include <string>
#include <vector>

#include "orvik/codes.h"
#include "orvik/export.h"

namespace orvik {

/// Rows with what a model says of each, in their order. Several predictions of one row, as of
/// repeated cross-validations, are several rows.
/// Shape: n rows and k class codes, the unknown one first; `shares` has k of a row after those of
/// the row before, or is empty where the model has more than k_most_judged_classes.
struct judged_rows {
  std::vector<std::string> classes;  ///< values by code
  std::vector<code_t> actual, predicted;
  std::vector<double> weights;
  std::vector<double> shares;
  /// How often each row is among them: an interval is as wide as it is with each row once.
  double times = 1;
  /// The shares before they were calibrated, likewise; empty where they are not.
  std::vector<double> plain = {};

  unsigned long size() const { return actual.size(); }
};
constexpr unsigned long k_most_judged_classes = 1000;

/// A place on a curve: what comes of the rows whose share of the class is `threshold` or more.
struct curve_point {
  double x, y, threshold;
};

/// The rows whose share of a class is in one tenth of [0, 1]: their weight, the mean of their
/// shares, and what part of them is of the class.
struct reliability_bin {
  double weight, share, frequency;
};

/// Of one class against the others. The areas and all below them are of the shares.
struct class_metrics {
  code_t code;
  std::string name;
  double precision, recall, f1;
  double support;  ///< weight of its rows
  /// Under the curve of true over false positives, with trapezoids where shares are equal; and the
  /// sum of the precisions, each times what the recall rises by (average precision).
  double roc_area, average_precision;
  /// False positives, true positives, from (0, 0) at an infinite threshold; recall, precision. Of
  /// longer curves some 200 points.
  std::vector<curve_point> roc, precision_recall;
  std::vector<reliability_bin> reliability;             ///< of those tenths that have rows
  std::vector<reliability_bin> plain_reliability = {};  ///< before calibration; else none
};

/// Means over the classes that are among the rows or predicted.
struct mean_metrics {
  double precision, recall, f1;
  double roc_area, average_precision;  ///< over the classes that have them
};

/// All figures of some rows.
struct metrics {
  std::string rows;         ///< which ones: "hold-out", "training rows"
  unsigned long n_rows;     ///< of known class
  unsigned long n_unknown;  ///< of unknown class
  double weight;            ///< of those of known class
  double accuracy;
  /// The accuracy's 95 % interval (Wilson 1927), for as many rows as say as much without weights:
  /// the square of the sum of the weights over the sum of their squares (Kish 1965).
  double accuracy_from, accuracy_to;
  double balanced_accuracy;  ///< mean recall of the classes that have rows
  double kappa;              ///< Cohen's (1960)
  /// Mean of -ln of the share of the row's class. Shares are kept in [e, 1 - e], e = 2^-52, and
  /// scaled to a sum of 1.
  double log_loss;
  /// Mean of the squared distances of all shares from 1 of the row's class and 0 of the others
  /// (Brier 1950); of two classes twice the figure that looks at one of them.
  double brier;
  double plain_log_loss, plain_brier;  ///< before calibration; else not-a-number
  mean_metrics mean, weighted_mean;    ///< each class alike, and by its support
  std::vector<class_metrics> classes;  ///< by code, those of mean_metrics
  /// Weights by class and predicted class, row by row, all codes; rows of unknown class too. None
  /// of more than k_most_judged_classes.
  std::vector<std::vector<double>> matrix;
};

/// The figures of rows, which `source` says what they are. O(k * n log n).
ORVIK_EXPORT metrics metrics_of(const judged_rows& rows, const std::string& source);

/// Appends rows judged by a model of the same classes; throws std::runtime_error for others.
ORVIK_EXPORT void append(judged_rows& rows, const judged_rows& more);

/// A table of the classes and lines of what is over all; figures have four decimals, "-" stands for
/// a not-a-number. Uses none of the stream's settings.
ORVIK_EXPORT void write_metrics_text(const metrics& all, std::ostream& out);
/// One document for several sets of rows: docs/formats.md has the layout. Numbers are exact.
ORVIK_EXPORT void write_metrics_json(const std::vector<metrics>& all, std::ostream& out);

}  // namespace orvik
