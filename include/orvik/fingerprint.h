// A number for a table.
#pragma once

#include <cstdint>

#include "orvik/export.h"

namespace orvik {

class table;

/// Of columns, values, weights and all cells: equal tables have equal ones, others hardly ever by
/// chance. O(cells).
ORVIK_EXPORT std::uint64_t fingerprint_of(const table& t);

}  // namespace orvik
