// What a model is trained with: a value, copied whole, so that no field is forgotten.
#pragma once

#include "impls/model/ensemble.h"
#include "impls/trees/decision_tree.h"
#include "impls/types.h"
#include "orvik/enums.h"
#include "orvik/growth.h"

namespace orvik::impls {

struct parameters {
  model::split_type split = model::GAIN_RATIO;
  model::pruning_strategy pruning = model::EBP;
  double min_obj = 2.0;  // above 0
  unsigned long max_depth = k_no_depth_limit;
  double conf_level = 0.25;  // in (0, 1]
  growth how;
  ensemble_kind kind = ensemble_kind::single;
  resampling draws;  // of bagged trees and forests
  combination answer = combination::votes;
  unsigned long n_trees = 1;
  bool keep_training_cm = true;

  bool is_ensemble() const { return kind != ensemble_kind::single; }
  /// Whether nodes draw: such a tree is grown by one thread.
  bool nodes_draw() const {
    const bool as_forest =
        kind == ensemble_kind::forest && how.attributes.how == attribute_draw::BY_KIND;
    return as_forest || how.draws();
  }
  /// What the nodes go by: only a forest draws without being told how.
  growth growth_of_trees() const {
    growth resolved = how;
    const bool told = how.attributes.how != attribute_draw::BY_KIND;
    if (!told && kind != ensemble_kind::forest) resolved.attributes.how = attribute_draw::ALL;
    return resolved;
  }
};

}  // namespace orvik::impls
