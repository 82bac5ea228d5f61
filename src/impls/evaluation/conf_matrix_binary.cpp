// Confusion matrices to and from binary streams.
#include <algorithm>
#include <cmath>
#include <limits>
#include <stdexcept>

#include "impls/evaluation/conf_matrix.h"
#include "impls/types.h"
#include "zel/inpout/binstream.h"

namespace orvik::impls {

namespace {

constexpr char k_too_many[] = "too many classes in a confusion matrix";
constexpr char k_cell_is_no_weight[] = "a cell of a confusion matrix is no weight";
constexpr char k_names[] = "not a name for each class of a confusion matrix";

constexpr unsigned long k_max_codes = 1UL + std::numeric_limits<class_t>::max();

using zel::inpout::require;

/// Reads n rows of n cells; the next row takes the place of the one before it.
class_cells read_cells(zel::inpout::ibinstream& in, unsigned long n) {
  class_cells cells(n);
  for (unsigned long i = 0; i < n; ++i) {
    const std::vector<double> row = in.read_array<double>(n);
    for (unsigned long j = 0; j < n; ++j) {
      require(std::isfinite(row[j]) && row[j] >= 0, k_cell_is_no_weight);
      if (row[j] != 0) cells.add(i, j, row[j]);
    }
  }
  return cells;
}

}  // namespace

void conf_matrix::bin_out(zel::inpout::obinstream& out) const {
  out << size();
  cells_.for_each_row([&](unsigned long, std::span<const double> row) { out.write_array(row); });
  out << elapsed_ << ncases_ << static_cast<unsigned long>(names_.size());
  for (const std::string& name : names_) out << name;
}

std::unique_ptr<conf_matrix> conf_matrix::bin_in(zel::inpout::ibinstream& in) {
  unsigned long n = 0, n_names = 0, n_cases = 0;
  double elapsed = 0;
  in >> n;
  require(n <= k_max_codes, k_too_many);
  class_cells cells = read_cells(in, n);
  in >> elapsed >> n_cases >> n_names;
  require(n_names == n, k_names);
  std::vector<std::string> names;
  for (unsigned long i = 0; i < n; ++i) in >> names.emplace_back();
  auto matrix = std::make_unique<conf_matrix>(std::vector<std::string>());
  matrix->names_ = std::move(names);
  matrix->cells_ = std::move(cells);
  matrix->elapsed_ = elapsed;
  matrix->ncases_ = n_cases;
  return matrix;
}

zel::inpout::obinstream& operator<<(zel::inpout::obinstream& out, const conf_matrix* m) {
  out << (m != nullptr);
  if (m != nullptr) m->bin_out(out);
  return out;
}

zel::inpout::ibinstream& operator>>(zel::inpout::ibinstream& in, conf_matrix*& m) {
  m = in.read_presence() ? conf_matrix::bin_in(in).release() : nullptr;  // to the caller
  return in;
}

}  // namespace orvik::impls
