// The case lists that a table makes of its rows.
#include <algorithm>

#include "impls/tables/table.h"

namespace orvik::impls {

case_list* table::get_first_n(unsigned long n) const {
  auto cases = std::make_unique<case_list>();
  cases->reserve(n);
  for (row_t row = 0; row < n; ++row) cases->emplace_back(row, 1.0);
  set_weights(*cases);
  return cases.release();  // to the caller
}

case_list* table::get_all() const { return get_first_n(n_rows_); }

case_list* table::get_random(unsigned long n, zel::util::seed_source& seeds) const {
  auto cases = std::make_unique<case_list>();
  cases->push_back_random(n, 0, n_rows_, 1.0, seeds);
  set_weights(*cases);
  return cases.release();  // to the caller
}

case_list* table::get_difference(case_list& cases) const {
  check_rows(cases);
  std::sort(cases.begin(), cases.end(),
            [](const auto& a, const auto& b) { return a.first < b.first; });
  auto others = std::make_unique<case_list>();
  auto at = cases.begin();
  for (row_t row = 0; row < n_rows_; ++row) {
    while (at != cases.end() && at->first < row) ++at;
    if (at == cases.end() || at->first != row) others->emplace_back(row, 1.0);
  }
  set_weights(*others);
  return others.release();  // to the caller
}

}  // namespace orvik::impls
