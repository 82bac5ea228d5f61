// How well a column splits the cases of a node that may weigh anything.
#pragma once

#include "impls/tables/column.h"
#include "orvik/enums.h"
#include "orvik/growth.h"
#include "zel/util/quick_gen.h"

namespace orvik::impls::splitting {

/// What a measure looks at. `range` holds every known code among the cases; `min_weight` is the
/// least weight of a branch. With `copy` the list keeps its order, otherwise a continuous measure
/// may leave it sorted by the measured column.
struct measured_node {
  const column& class_column;
  double total_weight;
  case_list& cases;
  const code_range& range;
  double min_weight;
  bool copy;
  const growth* how = nullptr;           // null: the defaults
  zel::util::quick_gen* draw = nullptr;  // where cuts are random
};

/// By the impurity of the split type. A column that is neither discrete nor continuous, or has one
/// code, splits nothing.
column::splitting_desc measure_column(const column& measured, const measured_node& node,
                                      model::split_type type);

}  // namespace orvik::impls::splitting
