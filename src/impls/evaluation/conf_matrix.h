#pragma once

#include <cstdint>
#include <iosfwd>
#include <memory>
#include <string>
#include <vector>

#include "impls/decision/cost_matrix.h"
#include "impls/evaluation/class_cells.h"

namespace zel::inpout {
class obinstream;
class ibinstream;
}  // namespace zel::inpout

namespace orvik::impls {

class table;

/// Weights of tested cases by actual class (rows) and predicted class (columns), and the error
/// figures that follow from them.
/// Shape: n x n, n = number of known classes + 1; code 0 is the unknown class, the known codes
/// are 1 .. n - 1. n may be 0: a matrix without rows. Memory follows the cells that occur, and n.
/// Errors: a class code past n - 1 throws std::runtime_error. Ratios of zero totals are not
/// guarded and give not-a-number, except where said.
/// Threads: many readers or one writer.
///
/// The ordinal measures (mae, mse, maee, r, rint, gamma) take the class codes as positions on a
/// scale. In their formulas c(i,j) is a cell, a(i) a row sum, p(j) a column sum, T the total.
class conf_matrix {
 public:
  /// An empty matrix over `class_names`: entry i is the printable value of class code i, entry 0
  /// that of the unknown value; n is the number of entries.
  explicit conf_matrix(std::vector<std::string> class_names);

  /// An empty matrix over the values of the table's class column; the names are copied.
  /// Throws std::runtime_error on a null table.
  explicit conf_matrix(const table* t);

  /// @return a copy of cells, names, time and case count; the caller deletes it.
  [[nodiscard]] conf_matrix* clone() const;

  /// Adds `weight` to the cell of (actual, predicted); O(1).
  void add(unsigned long actual, unsigned long predicted, double weight);

  /// Adds the cells of `other`; its time and case count are left to the caller.
  /// Throws std::runtime_error, changing nothing, when the sizes differ.
  void add(const conf_matrix* other);

  /// @return n, the unknown class included.
  unsigned long size() const { return names_.size(); }
  double get_element(unsigned long actual, unsigned long predicted) const;
  const std::string& class_name(unsigned long code) const;

  /// Number of cases tested, as opposed to their weight.
  std::uint64_t ncases() const { return ncases_; }
  void set_ncases(std::uint64_t n) { ncases_ = n; }
  /// Seconds that the test took.
  double elapsed() const { return elapsed_; }
  void set_elapsed(double seconds) { elapsed_ = seconds; }

  /// Total weight, and the weight of one row or column.
  double cases() const;
  double cases_actual(unsigned long i) const;
  double cases_predicted(unsigned long j) const;

  /// @return the row of the largest weight, the lowest of equals, row 0 included.
  /// Throws std::runtime_error on a matrix without rows.
  unsigned long get_majority_class() const;

  /// Share of the weight that is not on a known diagonal cell; weight predicted as unknown is
  /// left out of the whole.
  double err_misc() const;
  /// Error of always predicting the majority class of this matrix or of `other`, a matrix over
  /// the same classes; all weight counts. Throws like get_majority_class.
  double err_misc_majority() const;
  double err_misc_majority(const conf_matrix* other) const;

  /// The sum of weight x cost over the cells. A class that the costs do not have, as one past
  /// theirs, costs 1 where it is wrong; weight of the unknown class costs nothing, and so does
  /// weight that is predicted as unknown.
  double cost(const cost_matrix& costs) const;

  /// Mean absolute and mean squared difference of the codes. No weight: not-a-number, and 0.
  double err_mae() const;
  double err_mse() const;
  /// The same when every case is predicted as code `k`; `k` need not be a code of the matrix.
  double err_mae(unsigned long k) const;
  double err_mse(unsigned long k) const;
  /// The same with the known code of the smallest error on `other`, the lowest of equals. O(n * n).
  /// Throws std::runtime_error when `other` has no known code.
  double err_mae_majority(const conf_matrix* other) const;
  double err_mse_majority(const conf_matrix* other) const;

  /// Mean absolute difference of the codes over the misclassified weight.
  double err_maee() const;
  /// Correlation of actual and predicted codes.
  double err_r() const;
  /// Agreement of the two orders over the known codes, in [-1, 1]; 1 when all is on the diagonal.
  /// O(n * rows that occur), as gamma is.
  double err_rint() const;
  /// Goodman and Kruskal's gamma: (concordant - discordant) / (concordant + discordant).
  double err_gamma() const;

  /// Tab-separated cells with the class names above and at the right. The second argument is
  /// not used.
  void toTEXT(std::ostream& out, unsigned long depth) const;
  /// The known classes as an XML element; `suffix` is appended to the element's name.
  void toXML(std::ostream& out, const std::string& suffix) const;

  /// Writes all cells, a row at a time, time, number of cases and names.
  void bin_out(zel::inpout::obinstream& out) const;
  /// Reads what bin_out() wrote. Throws std::runtime_error for a cell that is no weight.
  static std::unique_ptr<conf_matrix> bin_in(zel::inpout::ibinstream& in);

 private:
  std::vector<double> row_sums() const;
  std::vector<double> column_sums() const;

  std::vector<std::string> names_;
  class_cells cells_;
  double elapsed_ = 0;
  std::uint64_t ncases_ = 0;
};

// The same with a presence byte in front; a null matrix is a single 0. The caller deletes what is
// read.
zel::inpout::obinstream& operator<<(zel::inpout::obinstream& out, const conf_matrix* m);
zel::inpout::ibinstream& operator>>(zel::inpout::ibinstream& in, conf_matrix*& m);

}  // namespace orvik::impls
