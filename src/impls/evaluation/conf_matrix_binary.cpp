// Confusion matrices to and from binary streams.
#include <algorithm>
#include <cmath>
#include <limits>
#include <stdexcept>

#include "impls/evaluation/conf_matrix.h"
#include "impls/tables/types.h"
#include "zel/inpout/binstream.h"

namespace orvik::impls {

namespace {

constexpr char k_too_many[] = "too many classes in a confusion matrix";
constexpr char k_no_weight[] = "a cell of a confusion matrix is no weight";
constexpr char k_names[] = "not a name for each class of a confusion matrix";

constexpr unsigned long k_max_codes = 1UL + std::numeric_limits<class_t>::max();

}  // namespace

void conf_matrix::bin_out(zel::inpout::obinstream& out) const {
  out << size();
  out.write_array(std::span<const double>(cells_));
  out << elapsed_ << ncases_ << static_cast<unsigned long>(names_.size());
  for (const std::string& name : names_) out << name;
}

std::unique_ptr<conf_matrix> conf_matrix::bin_in(zel::inpout::ibinstream& in) {
  unsigned long n = 0, n_names = 0, n_cases = 0;
  double elapsed = 0;
  in >> n;
  if (n > k_max_codes) throw std::runtime_error(k_too_many);
  std::vector<double> cells = in.read_array<double>(n * n);
  const auto is_weight = [](double cell) { return std::isfinite(cell) && cell >= 0; };
  if (!std::ranges::all_of(cells, is_weight)) throw std::runtime_error(k_no_weight);
  in >> elapsed >> n_cases >> n_names;
  if (n_names != n) throw std::runtime_error(k_names);
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
