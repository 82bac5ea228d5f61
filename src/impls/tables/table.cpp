#include "impls/tables/table.h"

#include <algorithm>
#include <cmath>
#include <stdexcept>

namespace orvik::impls {

namespace {

constexpr char k_many_columns[] = "too many attributes - recompile with larger att_sizet";
constexpr char k_many_classes[] = "too many class attributes";
constexpr char k_no_class[] = "missing class attribute";
constexpr char k_many_weights[] = "too many weights attributes";
constexpr char k_few_classes[] = "there must be at least two class values";
constexpr char k_without_class[] = "the table has no class column";

constexpr unsigned long k_max_columns = 4294967295;

}  // namespace

void table::throw_no_class() { throw std::runtime_error(k_without_class); }

void table::throw_no_row(row_t row) const {
  throw std::runtime_error("there is no row " + std::to_string(row) + " in a table of " +
                           std::to_string(n_rows_) + " rows");
}

/// Takes the columns and finds the special ones among them.
void table::adopt_columns(std::vector<std::unique_ptr<column>> columns) {
  if (columns.size() > k_max_columns) throw std::runtime_error(k_many_columns);
  unsigned long classes = 0, weights = 0;
  unsigned long class_at = columns.size(), weights_at = columns.size();
  std::vector<unsigned long> attributes;
  for (unsigned long i = 0; i < columns.size(); ++i) {
    const column::role role = columns[i]->type();
    if (class_checked_ && role == column::CLASS) {
      ++classes;
      class_at = i;
    } else if (class_checked_ && role == column::WEIGHTS) {
      ++weights;
      weights_at = i;
    } else {
      attributes.push_back(i);
    }
  }
  if (classes > 1) throw std::runtime_error(k_many_classes);
  if (classes == 0 && class_checked_) throw std::runtime_error(k_no_class);
  if (weights > 1) throw std::runtime_error(k_many_weights);
  columns_ = std::move(columns);
  attribute_columns_ = std::move(attributes);
  class_index_ = class_at;
  weights_index_ = weights_at;
}

std::unique_ptr<table> table::clone(bool schema_only) const {
  auto copy = std::make_unique<table>(name_, class_checked_);
  for (const auto& c : columns_)
    copy->columns_.push_back(std::unique_ptr<column>(c->clone(schema_only)));
  copy->attribute_columns_ = attribute_columns_;
  copy->class_index_ = class_index_;
  copy->weights_index_ = weights_index_;
  copy->n_rows_ = schema_only ? 0 : n_rows_;
  copy->elapsed_ = elapsed_;
  return copy;
}

bool table::is_mapped() const {
  return std::ranges::any_of(columns_, [](const auto& c) { return c->is_mapped(); });
}

void table::release_pages() const {
  for (const auto& c : columns_) c->release_pages();
}

/// Of a row that there is.
double table::weight_of(row_t row) const {
  if (!has_weights()) return 1.0;
  const column& weights = *columns_[weights_index_];
  return weights.values()->get_value_as_double(weights.get_row_index(row));
}

double table::get_weight(row_t row) const {
  check_row(row);
  return weight_of(row);
}

std::string table::get_class(row_t row) const {
  check_row(row);
  return class_column().values()->get_value(class_column().get_row_index(row));
}

void table::set_weights(case_list& cases) const {
  for (auto& [row, weight] : cases) weight = row < n_rows_ ? weight_of(row) : 1.0;
}

double table::sum_of_weights() const {
  double sum = 0;
  for (row_t row = 0; row < n_rows_; ++row) sum += weight_of(row);
  return sum;
}

void table::check_classes() const {
  if (has_class() && n_class_codes() < 3) throw std::runtime_error(k_few_classes);
}

/// Weights that cannot be scaled to the number of rows are refused when they are loaded.
void table::check_weights() const {
  if (!has_weights()) return;
  const double sum = sum_of_weights();
  if (sum > 0 && std::isfinite(sum) && std::isfinite(static_cast<double>(n_rows_) / sum)) return;
  throw std::runtime_error("Weights column '" + columns_[weights_index_]->name() +
                           "' requires a positive and finite sum of weights");
}

void table::rescale_weights() {
  if (!has_weights() || n_rows_ == 0) return;
  const double factor = static_cast<double>(n_rows_) / sum_of_weights();
  columns_[weights_index_]->values()->rescale(factor);
}

}  // namespace orvik::impls
