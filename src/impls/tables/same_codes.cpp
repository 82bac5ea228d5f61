#include "impls/tables/same_codes.h"

#include <cmath>
#include <stdexcept>

namespace orvik::impls {

namespace {

constexpr char k_no_weight[] = "a case weight that is negative or not finite: row ";

bool is_coded(const column& c) { return c.type() != column::IGNORE && c.type() != column::WEIGHTS; }

}  // namespace

bool have_equal_codes(const table& a, const table& b) {
  if (a.n_columns() != b.n_columns()) return false;
  for (unsigned long i = 0; i < a.n_columns(); ++i) {
    const column& one = a.get_column(i);
    const column& other = b.get_column(i);
    if (one.type() != other.type()) return false;
    if (is_coded(one) && !one.values()->has_same_values(*other.values())) return false;
  }
  return true;
}

void require_cases_of(const table& t, std::span<const case_list::value_type> cases) {
  t.check_rows(cases);
  for (const auto& [row, weight] : cases) {
    if (!(std::isfinite(weight) && weight >= 0)) {
      throw std::runtime_error(k_no_weight + std::to_string(row));
    }
  }
}

}  // namespace orvik::impls
