// The error figures of the confusion matrix, each as its definition reads.
//
// Sums run over all codes, the unknown code 0 included, except in err_misc (known diagonal) and
// err_rint (known codes). The sums over pairs of cells behind gamma and the agreement index would
// take n^4 steps if read literally; going up the rows with the sums of the columns below the
// current row makes them n^2.

#include <cmath>
#include <span>
#include <vector>

#include "impls/evaluation/conf_matrix.h"
#include "zel/util/number_util.h"

namespace orvik::impls {

namespace {

using std::vector;
using zel::util::number_util::plain_nan;

double gap(unsigned long a, unsigned long b) {
  return a < b ? static_cast<double>(b - a) : static_cast<double>(a - b);
}

double squared_gap(unsigned long a, unsigned long b) { return gap(a, b) * gap(a, b); }

/// Mean distance `d` between the codes of the rows and the constant code `k`.
template <class Distance>
double constant_error(const vector<double>& rows, double total, unsigned long k, Distance d) {
  double sum = 0;
  for (unsigned long i = 0; i < rows.size(); ++i) sum += d(k, i) * rows[i];
  return plain_nan(sum / total);
}

/// The known code of the smallest constant error, the lowest of equals.
template <class Distance>
unsigned long best_constant(const vector<double>& rows, double total, Distance d) {
  vector<double> merits;
  for (unsigned long k = 1; k < rows.size(); ++k) {
    merits.push_back(-constant_error(rows, total, k, d));
  }
  return 1 + zel::util::number_util::argmax(merits);
}

/// Mean position and root of the squared deviations of weights placed at 0, 1, 2, ...
struct spread {
  double mean = 0;
  double deviation = 0;
};

spread spread_of(const vector<double>& weights, double total) {
  spread s;
  for (unsigned long i = 0; i < weights.size(); ++i) {
    s.mean += static_cast<double>(i) * weights[i];
  }
  s.mean /= total;
  double squares = 0;
  for (unsigned long i = 0; i < weights.size(); ++i) {
    const double d = static_cast<double>(i) - s.mean;
    squares += d * d * weights[i];
  }
  s.deviation = std::sqrt(squares);
  return s;
}

/// Sum of w(i) * w(j) over the pairs i <= j, each entry with itself included.
double ordered_products(std::span<const double> weights) {
  double sum = 0, so_far = 0;
  for (const double w : weights) {
    so_far += w;
    sum += w * so_far;
  }
  return sum;
}

/// Without the entry of the unknown class.
std::span<const double> known_of(const vector<double>& sums) {
  return std::span(sums).subspan(sums.empty() ? 0 : 1);
}

/// Calls visit(row, its n cells) for the rows that have weight, the last one first.
template <class Visit>
void for_each_row_upwards(const vector<class_cells::cell>& cells, unsigned long n,
                          const Visit& visit) {
  vector<double> row(n);
  for (auto last = cells.rbegin(); last != cells.rend();) {
    const unsigned long i = last->row;
    const auto begin = last;
    for (; last != cells.rend() && last->row == i; ++last) row[last->column] = last->weight;
    visit(i, row);
    for (auto done = begin; done != last; ++done) row[done->column] = 0;
  }
}

}  // namespace

double conf_matrix::err_misc() const {
  double correct = 0, whole = cases();
  for (const auto& [i, j, weight] : cells_.occupied()) {
    if (i == j && i > 0) correct += weight;
  }
  if (size() > 0) whole -= cases_predicted(0);
  return plain_nan(1 - correct / whole);
}

double conf_matrix::err_misc_majority() const { return err_misc_majority(this); }

double conf_matrix::err_misc_majority(const conf_matrix* other) const {
  return plain_nan(1 - cases_actual(other->get_majority_class()) / cases());
}

double conf_matrix::cost(const cost_matrix& costs) const {
  double sum = 0;
  for (const class_cells::cell& cell : cells_.occupied()) {
    const bool known = cell.row != k_unknown && cell.column != k_unknown;
    const bool named = cell.row < costs.size() && cell.column < costs.size();
    if (!known || cell.row == cell.column) continue;
    sum += cell.weight * (named ? costs.cost(cell.column, cell.row) : 1.0);
  }
  return sum;
}

double conf_matrix::err_mae() const {
  double sum = 0;
  for (const auto& [i, j, weight] : cells_.occupied()) sum += gap(i, j) * weight;
  return plain_nan(sum / cases());
}

double conf_matrix::err_mse() const {
  const double total = cases();
  if (total == 0) return 0;  // Deliberate: unlike err_mae, no weight is no error
  double sum = 0;
  for (const auto& [i, j, weight] : cells_.occupied()) sum += squared_gap(i, j) * weight;
  return sum / total;
}

double conf_matrix::err_mae(unsigned long k) const {
  return constant_error(row_sums(), cases(), k, gap);
}

double conf_matrix::err_mse(unsigned long k) const {
  return constant_error(row_sums(), cases(), k, squared_gap);
}

double conf_matrix::err_mae_majority(const conf_matrix* other) const {
  return err_mae(best_constant(other->row_sums(), other->cases(), gap));
}

double conf_matrix::err_mse_majority(const conf_matrix* other) const {
  return err_mse(best_constant(other->row_sums(), other->cases(), squared_gap));
}

double conf_matrix::err_maee() const {
  double sum = 0, wrong = 0;
  for (const auto& [i, j, weight] : cells_.occupied()) {
    if (i == j) continue;
    sum += gap(i, j) * weight;
    wrong += weight;
  }
  return plain_nan(sum / wrong);
}

double conf_matrix::err_r() const {
  const double total = cases();
  const spread actual = spread_of(row_sums(), total);
  const spread predicted = spread_of(column_sums(), total);
  double sum = 0;
  for (const auto& [i, j, weight] : cells_.occupied()) {
    sum +=
        weight * (static_cast<double>(i) - actual.mean) * (static_cast<double>(j) - predicted.mean);
  }
  return plain_nan(sum / (actual.deviation * predicted.deviation));
}

double conf_matrix::err_rint() const {
  const double total = cases();
  vector<double> below(size());  // column sums of the rows from the current one down
  double pairs = 0;
  for_each_row_upwards(cells_.occupied(), size(), [&](unsigned long i, const vector<double>& row) {
    double not_before = 0;  // weight at rows i.. and columns j..
    for (unsigned long j = size(); i > 0 && j-- > 1;) {
      below[j] += row[j];
      not_before += below[j];
      pairs += row[j] * not_before;
    }
  });
  const double x = ordered_products(known_of(row_sums())) - total;
  const double y = ordered_products(known_of(column_sums())) - total;
  return plain_nan(2 * (pairs - total) / (std::sqrt(x) * std::sqrt(y)) - 1);
}

double conf_matrix::err_gamma() const {
  vector<double> below(size());  // column sums of the rows strictly below the current one
  double concordant = 0, discordant = 0;
  for_each_row_upwards(cells_.occupied(), size(), [&](unsigned long, const vector<double>& row) {
    double left = 0;  // of `below`, before column j
    for (unsigned long j = 0; j < size(); ++j) {
      discordant += row[j] * left;
      left += below[j];
    }
    double right = 0;  // of `below`, after column j
    for (unsigned long j = size(); j-- > 0;) {
      concordant += row[j] * right;
      right += below[j];
    }
    for (unsigned long j = 0; j < size(); ++j) below[j] += row[j];
  });
  return plain_nan((concordant - discordant) / (concordant + discordant));
}

}  // namespace orvik::impls
