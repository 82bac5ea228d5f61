// Storage and renderings of the confusion matrix; the error figures are in error_measures.cpp.

#include "impls/evaluation/conf_matrix.h"

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
    : names_(std::move(class_names)), cells_(names_.size()) {}

conf_matrix* conf_matrix::clone() const { return new conf_matrix(*this); }

void conf_matrix::add(unsigned long actual, unsigned long predicted, double weight) {
  if (actual >= size() || predicted >= size()) throw std::runtime_error(k_add_range);
  cells_.add(actual, predicted, weight);
}

void conf_matrix::add(const conf_matrix* other) {
  if (other->size() != size()) throw std::runtime_error(k_add_size);
  for (const auto& [i, j, weight] : other->cells_.occupied()) cells_.add(i, j, weight);
}

double conf_matrix::get_element(unsigned long actual, unsigned long predicted) const {
  check_code(actual, size());
  check_code(predicted, size());
  return cells_.at(actual, predicted);
}

const std::string& conf_matrix::class_name(unsigned long code) const {
  check_code(code, size());
  return names_[code];
}

double conf_matrix::cases() const {
  double sum = 0;
  for (const auto& c : cells_.occupied()) sum += c.weight;
  return sum;
}

double conf_matrix::cases_actual(unsigned long i) const {
  check_code(i, size());
  return row_sums()[i];
}

double conf_matrix::cases_predicted(unsigned long j) const {
  check_code(j, size());
  return column_sums()[j];
}

unsigned long conf_matrix::get_majority_class() const {
  return zel::util::number_util::argmax(row_sums());
}

std::vector<double> conf_matrix::row_sums() const {
  std::vector<double> sums(size());
  for (const auto& c : cells_.occupied()) sums[c.row] += c.weight;
  return sums;
}

std::vector<double> conf_matrix::column_sums() const {
  std::vector<double> sums(size());
  for (const auto& c : cells_.occupied()) sums[c.column] += c.weight;
  return sums;
}

void conf_matrix::toTEXT(std::ostream& out, unsigned long) const {
  for (const std::string& name : names_) out << name << '\t';
  out << "predicted(cols)/actual(rows)\n";
  cells_.for_each_row([&](unsigned long i, std::span<const double> row) {
    for (const double weight : row) out << weight << '\t';
    out << names_[i] << '\n';
  });
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
  cells_.for_each_row([&](unsigned long i, std::span<const double> row) {
    if (i == 0) return;
    out << "<Array n=\"" << known << "\" type=\"real\">\n";
    for (unsigned long j = 1; j <= known; ++j) {
      if (j > 1) out << ' ';
      out << row[j];
    }
    out << "\n</Array>\n";
  });
  out << "</Matrix>\n</X-ConfusionMatrix" << suffix << ">\n";
}

}  // namespace orvik::impls
