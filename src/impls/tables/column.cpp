#include "impls/tables/column.h"

#include <array>
#include <cstdint>
#include <stdexcept>

#include "impls/tables/column_bool.h"
#include "impls/tables/column_typed.h"

namespace orvik::impls {

namespace {

constexpr char k_no_values[] = "No set of values provided";
constexpr char k_unknown_role[] = "Unknown column type: ";
constexpr char k_null_type[] = "Null set of column values can only be used for ignore column type";

constexpr std::array<const char*, 5> k_roles = {"discrete", "continuous", "class", "weights",
                                                "ignore"};

constexpr unsigned long k_max_discrete = 4294967294;
constexpr unsigned long k_max_class = 65534;

int role_code(const std::string& role) {
  for (std::size_t i = 0; i < k_roles.size(); ++i) {
    if (role == k_roles[i]) return static_cast<int>(i);
  }
  return -1;
}

std::string no_unknown(const char* kind, const std::string& name) {
  return std::string(kind) + " column '" + name + "' does not admit unknown values";
}

/// Why a column of this role cannot have these values; empty if it can.
std::string mismatch(const o_set& values, const std::string& name, int role) {
  switch (role) {
    case column::CONTINUOUS:
      if (values.is_ordered() || values.is_numeric()) break;
      return "Continuous column '" + name + "' requires a numeric/ordered data type";
    case column::CLASS:
      if (values.has_null()) return no_unknown("Class", name);
      break;
    case column::WEIGHTS:
      if (!values.is_numeric()) {
        return "Weights column '" + name + "' requires a non-negative numeric data type";
      }
      if (values.has_null()) return no_unknown("Weights", name);
      break;
    default:
      break;
  }
  if (values.type() == "null" && role != column::IGNORE) return k_null_type;
  const unsigned long n = values.size_of_known();
  if (role == column::DISCRETE && n > k_max_discrete) {
    return "Discrete column " + name +
           " with too many distinct values. Recompil with larger disc_sizet data type.";
  }
  if (role == column::CLASS && n > k_max_class) {
    return "Class column " + name +
           " with too many distinct values. Recompil with larger class_type data type.";
  }
  return {};
}

/// The largest code is the number of known values; one number more is kept in reserve.
template <class IndexT>
constexpr bool holds(unsigned long n) {
  return n < std::numeric_limits<IndexT>::max();
}

}  // namespace

column::column(role type, std::string name, std::unique_ptr<o_set> values)
    : type_(type), name_(std::move(name)), values_(std::move(values)) {}

bool column::admits_null(const std::string& role) { return role != "class" && role != "weights"; }

column* column::NEW_COLUMN(o_set* values, const std::string& name, const std::string& role_name,
                           std::string& error) {
  if (values == nullptr) {
    error = k_no_values;
    return nullptr;
  }
  const int code = role_code(role_name);
  error = code < 0 ? k_unknown_role + role_name : mismatch(*values, name, code);
  if (!error.empty()) return nullptr;
  std::unique_ptr<column> made = of_width_for(*values, static_cast<role>(code), name);
  made->values_.reset(values);  // taken last: until here a failure leaves it to the caller
  return made.release();        // to the caller
}

std::unique_ptr<column> column::over(std::unique_ptr<o_set>&& values, const std::string& name,
                                     const std::string& role) {
  std::string error;
  std::unique_ptr<column> made(NEW_COLUMN(values.get(), name, role, error));
  if (!made) throw std::runtime_error(error);
  static_cast<void>(values.release());  // the column has it now
  return made;
}

std::unique_ptr<column> column::refitted() { return over(take_values(), name_, get_type()); }

/// A column without values that can store the codes of `values`.
std::unique_ptr<column> column::of_width_for(const o_set& values, role type,
                                             const std::string& name) {
  const unsigned long n = values.size_of_known();
  if (values.type() == "null") return std::make_unique<column>(type, name, nullptr);
  if (type == DISCRETE && n <= 2 && !values.has_null()) {
    return std::make_unique<column_bool>(type, name, nullptr);
  }
  if (holds<std::uint8_t>(n)) {
    return std::make_unique<column_typed<std::uint8_t>>(type, name, nullptr);
  }
  if (holds<std::uint16_t>(n)) {
    return std::make_unique<column_typed<std::uint16_t>>(type, name, nullptr);
  }
  if (holds<std::uint32_t>(n)) {
    return std::make_unique<column_typed<std::uint32_t>>(type, name, nullptr);
  }
  return std::make_unique<column_typed<std::uint64_t>>(type, name, nullptr);
}

std::string column::get_type() const {
  const auto code = static_cast<std::size_t>(type_);
  return code < k_roles.size() ? k_roles[code] : "unknown";
}

column* column::clone(bool) const {
  return new column(type_, name_, std::unique_ptr<o_set>(values_ ? values_->clone() : nullptr));
}

void column::freeze_values() {
  try {
    values_->freeze();
  } catch (const std::runtime_error& failure) {
    throw std::runtime_error(failure.what() + (" (column " + name_ + ")"));
  }
}

void column::push_back(const char*) {}

code_t column::require_code(const char* text) const {
  code_t code;
  if (!values_->get_order(text, code)) {
    throw std::runtime_error("[column::push_back] index not found for value '" + std::string(text) +
                             "' in column " + name_);
  }
  return code;
}

void column::append(std::span<const code_t>) {}

void column::sort(case_list::iterator, case_list::iterator) const {
  throw std::runtime_error("[column::sort] method not defined for column type '" + get_type() +
                           "'");
}

void column::quality_measure(const column&, double, case_list&, const code_range&, double,
                             splitting_desc& desc, bool) const {
  desc = splitting_desc{};
}

}  // namespace orvik::impls
