// What a model is trained with: a value, copied whole, so that no field is forgotten.
#pragma once

#include <string>
#include <utility>
#include <vector>

#include "impls/model/ensemble.h"
#include "impls/trees/decision_tree.h"
#include "impls/types.h"
#include "orvik/enums.h"

namespace orvik::impls {

struct parameters {
  model::split_type split = model::GAIN_RATIO;
  model::pruning_strategy pruning = model::EBP;
  double min_obj = 2.0;  // above 0
  unsigned long max_depth = k_no_depth_limit;
  double conf_level = 0.25;  // in (0, 1]
  ensemble_kind kind = ensemble_kind::single;
  unsigned long n_trees = 1;
  bool keep_training_cm = true;

  bool is_ensemble() const { return kind != ensemble_kind::single; }
  bool draws_attributes() const { return kind == ensemble_kind::forest; }
};

/// Each as a label and a text, for people.
std::vector<std::pair<std::string, std::string>> described(const parameters& p);

}  // namespace orvik::impls
