// Predicted against actual classes, and the error measures of the predictions.
#pragma once

#include <memory>
#include <ostream>
#include <string>
#include <vector>

#include "orvik/costs.h"
#include "orvik/export.h"

namespace orvik {

class table;

namespace impls {
class conf_matrix;
}

/// Case weights by actual class (rows) and predicted class (columns). Code 0 is the unknown
/// class; the known values follow in the order of their codes.
class ORVIK_EXPORT conf_matrix {
 public:
  /// An empty matrix over the classes of `t`; a null table gives a handle that holds none: all it
  /// is asked, and being another's argument, throws std::runtime_error.
  explicit conf_matrix(table* t);
  /// An empty matrix over class values by code, the unknown one first: see dtree::class_values().
  explicit conf_matrix(const std::vector<std::string>& class_values);
  /// Takes an implementation, for the library's own use.
  explicit conf_matrix(std::unique_ptr<impls::conf_matrix> impl);
  ~conf_matrix();
  conf_matrix(const conf_matrix&) = delete;
  conf_matrix& operator=(const conf_matrix&) = delete;
  /// A copy, which the caller deletes.
  [[nodiscard]] conf_matrix* clone() const;

  /// Counts a case of class i that was predicted as j; i, j < size().
  void add_case(unsigned long i, unsigned long j, double weight);

  /// Weight of the cases of actual class i predicted as j; i, j < size().
  double get_element(unsigned long i, unsigned long j) const;
  /// Number of class codes, the unknown one included.
  unsigned long size() const;
  /// Total weight, and number, of the cases.
  double cases() const;
  unsigned long ncases() const;

  // Fractions of the weight, in [0, 1]; as all measures not-a-number where nothing was tested.
  /// The wrong ones of the cases whose predicted class is known.
  double err_misc() const;
  /// The same had the majority class always been predicted, that of this matrix or of another.
  double err_misc_majority() const;
  double err_misc_majority(const conf_matrix* other) const;

  /// The sum of weight x cost over all cells, pairs that are not given costing 1: over cases() it
  /// is the mean. Cases of unknown class cost nothing, nor does what is predicted as unknown.
  /// Throws std::runtime_error for a pair of other classes.
  double get_cost(const std::vector<class_cost>& costs) const;

  // Measures for ordered classes, with codes as positions on a scale.
  /// Mean distance of actual and predicted code; over all cases, and over the wrong ones.
  double err_mae() const;
  double err_maee() const;
  /// Mean squared distance; without cases 0.
  double err_mse() const;
  /// 1 for full agreement: linear correlation, agreement of the order of pairs of known
  /// classes, and Goodman and Kruskal's gamma. Not-a-number where all cases are of one class.
  double err_r() const;
  double err_rint() const;
  double err_gamma() const;
  /// Of the constant prediction that would be best for the cases of `other`.
  double err_mae_majority(const conf_matrix* other) const;
  double err_mse_majority(const conf_matrix* other) const;

  /// The actual class of the greatest weight.
  std::string get_majority_class_value() const;
  /// Seconds of the test.
  double get_elapsed() const;

  /// Tab-separated; the second argument is not used.
  void toTEXT(std::ostream& out, unsigned long depth) const;
  /// An extension element for PMML, with the misclassification and the known classes.
  void toXML(std::ostream& out) const;

  /// For the library's own use.
  impls::conf_matrix* get_impl() const { return impl_.get(); }

 private:
  std::unique_ptr<impls::conf_matrix> impl_;
};

}  // namespace orvik
