// The cases that are kept from growing a tree, to prune it on them.
#pragma once

#include <memory>
#include <string>

#include "options.h"
#include "orvik/orvik.h"
#include "orvik/strategies.h"

namespace orvcmd {

using orvik::model::k_growing_share;

struct side_sets {
  std::unique_ptr<orvik::table::subset> grow, held;

  /// Whether there are cases for both; where they are too few, all of them do both.
  bool both() const { return grow->size() > 0 && held->size() > 0; }
};

/// Takes `fraction` of the cases of every class as the first set, drawn if `random`. Reorders
/// `cases`.
side_sets split_classes(orvik::table* t, orvik::table::subset& cases, double fraction, bool random);

/// Throws std::runtime_error for more folds than rows.
void require_rows_for_folds(const orvik::table& t, const options& opt);

/// All rows, in an order whose folds have the classes in even shares, drawn.
/// Throws std::runtime_error for more folds than rows.
std::unique_ptr<orvik::table::subset> stratified_folds(orvik::table* t, const options& opt);

struct fold_parts {
  std::unique_ptr<orvik::table::subset> test, train;
};

/// Fold i of k, and the other cases.
fold_parts take_fold(orvik::table::subset& all, unsigned long k, unsigned long i);

/// The items of a list with "," between them.
unsigned long items_of(const std::string& list);

}  // namespace orvcmd
