// Predicted against actual classes, and the error measures of the predictions.
#pragma once

#include <memory>
#include <ostream>
#include <string>

namespace orvik {

class table;

namespace impls {
class conf_matrix;
}

/// Case weights by actual class (rows) and predicted class (columns). Code 0 is the unknown
/// class; the known values follow in the order of their codes.
class conf_matrix {
 public:
  /// An empty matrix over the classes of `t`; a null table gives a handle that can only be
  /// deleted.
  explicit conf_matrix(table* t);
  /// Takes an implementation, for the library's own use.
  explicit conf_matrix(std::unique_ptr<impls::conf_matrix> impl);
  ~conf_matrix();
  conf_matrix(const conf_matrix&) = delete;
  conf_matrix& operator=(const conf_matrix&) = delete;
  [[nodiscard]] conf_matrix* clone() const;

  /// Weight of the cases of actual class i predicted as j; i, j < size().
  double get_element(unsigned long i, unsigned long j) const;
  /// Number of class codes, the unknown one included.
  unsigned long size() const;
  /// Total weight, and number, of the cases.
  double cases() const;
  unsigned long ncases() const;

  // Shares of the weight, in [0, 1].
  double err_misc() const;
  /// Of always predicting the majority class, of this matrix or of another.
  double err_misc_majority() const;
  double err_misc_majority(const conf_matrix* other) const;

  // Measures for ordered classes, with codes as positions on a scale.
  double err_mae() const;
  double err_maee() const;
  double err_mse() const;
  double err_r() const;
  double err_rint() const;
  double err_gamma() const;
  double err_mae_majority(const conf_matrix* other) const;
  double err_mse_majority(const conf_matrix* other) const;

  std::string get_majority_class_value() const;
  /// Seconds of the test.
  double get_elapsed() const;

  /// Tab-separated; the second argument is not used.
  void toTEXT(std::ostream& out, unsigned long depth) const;
  void toXML(std::ostream& out) const;

  /// For the library's own use.
  impls::conf_matrix* get_impl() const { return impl_.get(); }

 private:
  std::unique_ptr<impls::conf_matrix> impl_;
};

}  // namespace orvik
