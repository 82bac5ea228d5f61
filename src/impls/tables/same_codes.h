// Whether what was learned on one table holds for another, and whether cases are cases of a table.
#pragma once

#include <span>

#include "impls/tables/table.h"

namespace orvik::impls {

/// Whether the columns have the same roles and, but for weights and ignored ones, a code means the
/// same value in both: O(values).
bool have_equal_codes(const table& a, const table& b);

/// Throws std::runtime_error for a case of a row that `t` does not have, or of a weight that is
/// negative or not finite.
void require_cases_of(const table& t, std::span<const case_list::value_type> cases);

}  // namespace orvik::impls
