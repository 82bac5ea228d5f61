// Storage and renderings of the confusion matrix; the error figures are in error_measures.cpp.

#include "impls/evaluation/conf_matrix.h"

#include <numeric>
#include <ostream>
#include <stdexcept>
#include <utility>

#include "zel/util/number_util.h"
#include "zel/util/string_util.h"

namespace orvik::impls {

namespace {

constexpr char k_add_range[] = "conf_matrix::add() class code out of range";
constexpr char k_add_size[] = "conf_matrix::add() matrices of different sizes";
constexpr char k_code_range[] = "conf_matrix: class code out of range";

void check_code(unsigned long code, unsigned long size) {
  if (code >= size) throw std::runtime_error(k_code_range);
}

}  // namespace

conf_matrix::conf_matrix(std::vector<std::string> class_names)
    : names_(std::move(class_names)), cells_(names_.size() * names_.size()) {}

conf_matrix* conf_matrix::clone() const { return new conf_matrix(*this); }

void conf_matrix::add(unsigned long actual, unsigned long predicted, double weight) {
  if (actual >= size() || predicted >= size()) throw std::runtime_error(k_add_range);
  cells_[actual * size() + predicted] += weight;
}

void conf_matrix::add(const conf_matrix* other) {
  if (other->size() != size()) throw std::runtime_error(k_add_size);
  for (std::size_t c = 0; c < cells_.size(); ++c) cells_[c] += other->cells_[c];
}

double conf_matrix::get_element(unsigned long actual, unsigned long predicted) const {
  check_code(actual, size());
  check_code(predicted, size());
  return cell(actual, predicted);
}

const std::string& conf_matrix::class_name(unsigned long code) const {
  check_code(code, size());
  return names_[code];
}

double conf_matrix::cases() const { return std::accumulate(cells_.begin(), cells_.end(), 0.0); }

double conf_matrix::cases_actual(unsigned long i) const {
  check_code(i, size());
  double sum = 0;
  for (unsigned long j = 0; j < size(); ++j) sum += cell(i, j);
  return sum;
}

double conf_matrix::cases_predicted(unsigned long j) const {
  check_code(j, size());
  double sum = 0;
  for (unsigned long i = 0; i < size(); ++i) sum += cell(i, j);
  return sum;
}

unsigned long conf_matrix::get_majority_class() const {
  return zel::util::number_util::argmax(row_sums());
}

std::vector<double> conf_matrix::row_sums() const {
  std::vector<double> sums(size());
  for (unsigned long i = 0; i < size(); ++i) sums[i] = cases_actual(i);
  return sums;
}

std::vector<double> conf_matrix::column_sums() const {
  std::vector<double> sums(size());
  for (unsigned long i = 0; i < size(); ++i) {
    for (unsigned long j = 0; j < size(); ++j) sums[j] += cell(i, j);
  }
  return sums;
}

void conf_matrix::toTEXT(std::ostream& out, unsigned long) const {
  for (const std::string& name : names_) out << name << '\t';
  out << "predicted(cols)/actual(rows)\n";
  for (unsigned long i = 0; i < size(); ++i) {
    for (unsigned long j = 0; j < size(); ++j) out << cell(i, j) << '\t';
    out << names_[i] << '\n';
  }
}

void conf_matrix::toXML(std::ostream& out, const std::string& suffix) const {
  const unsigned long known = size() == 0 ? 0 : size() - 1;
  out << "<X-ConfusionMatrix" << suffix << " x-incorrectlyInst = \"" << err_misc() * cases()
      << "\" x-incorrectlyInstPerc = \"" << err_misc() * 100 << "%\" x-totalInst = \"" << cases()
      << "\">\n";
  out << "<Array n=\"" << known << "\" type=\"string\">\n";
  for (unsigned long code = 1; code <= known; ++code) {
    if (code > 1) out << ' ';
    out << '"' << zel::util::string_util::toXML(names_[code]) << '"';
  }
  out << "\n</Array>\n<Matrix>\n";
  for (unsigned long i = 1; i <= known; ++i) {
    out << "<Array n=\"" << known << "\" type=\"real\">\n";
    for (unsigned long j = 1; j <= known; ++j) {
      if (j > 1) out << ' ';
      out << cell(i, j);
    }
    out << "\n</Array>\n";
  }
  out << "</Matrix>\n</X-ConfusionMatrix" << suffix << ">\n";
}

}  // namespace orvik::impls
