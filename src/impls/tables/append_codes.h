// Codes in batches, to whatever takes them by append().
#pragma once

#include <algorithm>
#include <array>
#include <cstddef>

#include "impls/types.h"

namespace orvik::impls {

/// Codes on their way into a column, as many as fit in the fastest cache.
constexpr std::size_t k_append_cells = 1024;

/// Appends code_of(0) .. code_of(n - 1).
template <class Codes, class To>
void append_codes(std::size_t n, Codes code_of, To& to) {
  std::array<code_t, k_append_cells> codes;
  for (std::size_t first = 0; first < n; first += k_append_cells) {
    const std::size_t count = std::min(n - first, k_append_cells);
    for (std::size_t i = 0; i < count; ++i) codes[i] = code_of(first + i);
    to.append({codes.data(), count});
  }
}

}  // namespace orvik::impls
