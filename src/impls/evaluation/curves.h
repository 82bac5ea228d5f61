// What the shares of one class say about rows, against their classes.
#pragma once

#include <span>
#include <vector>

#include "orvik/metrics.h"

namespace orvik::impls {

/// A row as one class sees it.
struct scored_row {
  double share;
  double positive, negative;  // its weight, on one of the sides
};

/// Orders the rows by falling shares and sets areas and curves of `of`. O(n log n).
void set_curves(std::span<scored_row> rows, class_metrics& of);
std::vector<reliability_bin> reliability_of(std::span<const scored_row> rows);

}  // namespace orvik::impls
