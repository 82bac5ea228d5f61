// One row given as texts, and the shares of the classes in a prediction.
#include <stdexcept>

#include "impls/evaluation/row_coder.h"
#include "impls/model/dtree.h"

namespace orvik::impls {

namespace {

constexpr char k_no_data[] = "[dtree::predicts] no data provided";  // published name

std::string wrong_count(unsigned long given, unsigned long wanted) {
  return "[dtree::predicts] " + std::to_string(given) + " values provided for " +
         std::to_string(wanted) + " attributes";
}

}  // namespace

std::vector<std::string> dtree::class_names() const {
  std::vector<std::string> names;
  if (!table_) return names;
  for (code_t c = 0; c < table_->n_class_codes(); ++c) {
    names.push_back(table_->class_column().values()->get_value(c));
  }
  return names;
}

void dtree::string2index(const std::vector<std::string>& values, std::vector<code_t>& codes) const {
  require_trees();
  const unsigned long n = table_->n_attributes();
  if (values.size() != n && values.size() != n + 1) {
    throw std::runtime_error(wrong_count(values.size(), n));
  }
  codes.assign(n, k_unknown);
  for (unsigned long a = 0; a < n; ++a) {
    const column& c = table_->column_of(a);
    if (c.type() == column::IGNORE) continue;
    codes[a] = code_of_text(c, values[a], c.values()->null_value());
    if (codes[a] == k_no_code) throw std::runtime_error(not_admitted(values[a], c.name()));
  }
}

double dtree::predict(const std::vector<std::string>& values, double weight,
                      decision_tree::prediction& result, std::vector<double>* shares) const {
  if (values.empty()) throw std::runtime_error(k_no_data);
  std::vector<code_t> codes;
  string2index(values, codes);
  if (shares != nullptr) predict_distribution(codes, *shares);
  return predict(*table_, codes, result, weight);
}

void dtree::predict_distribution(const std::vector<code_t>& codes, std::vector<double>& shares,
                                 std::vector<double>* plain) const {
  require_trees();
  trees_.predict_distribution(*table_, codes, shares, plain);
}

}  // namespace orvik::impls
