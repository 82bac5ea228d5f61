// A confusion matrix over the classes of a table.
#include <stdexcept>

#include "impls/evaluation/conf_matrix.h"
#include "impls/tables/table.h"

namespace orvik::impls {

namespace {

constexpr char k_null_table[] = "conf_matrix::Table pointer was NULL";

std::vector<std::string> class_names(const table* t) {
  if (t == nullptr) throw std::runtime_error(k_null_table);
  std::vector<std::string> names;
  for (code_t c = 0; c < t->n_class_codes(); ++c) {
    names.push_back(t->class_column().values()->get_value(c));
  }
  return names;
}

}  // namespace

conf_matrix::conf_matrix(const table* t) : conf_matrix(class_names(t)) {}

}  // namespace orvik::impls
