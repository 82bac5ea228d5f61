// What a model is trained with: a value, copied whole, so that no field is forgotten.
#pragma once

#include <string>
#include <utility>
#include <vector>

#include "impls/model/ensemble.h"
#include "impls/trees/decision_tree.h"
#include "impls/types.h"
#include "orvik/enums.h"
#include "orvik/growth.h"
#include "orvik/probabilities.h"
#include "zel/inpout/binstream.h"

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
  decision decides;                   // as asked: what it learns from cases is the ensemble's
  bool balanced_classes = false;      // all classes weigh the same
  std::vector<double> class_weights;  // by class code; empty: 1
  calibration calibrated = calibration::none;
  unsigned long n_trees = 1;
  bool keep_training_cm = true;

  // The part of the binary form that only models in the second layout have.
  bool fit_first_layout() const;
  void write_growth(zel::inpout::obinstream& out, const decision& how_decided) const;
  bool read_growth(zel::inpout::ibinstream& in, decision& how_decided);

  /// Whether shares become others, once that is learned.
  bool maps_shares() const {
    return calibrated == calibration::isotonic || calibrated == calibration::platt;
  }
  bool is_ensemble() const { return kind != ensemble_kind::single; }
  /// Whether the nodes of a tree draw from one generator, one after another.
  bool draws_in_order() const {
    return kind == ensemble_kind::forest && how.attributes.how == attribute_draw::BY_KIND;
  }
};

/// Each as a label and a text, for people.
std::vector<std::pair<std::string, std::string>> described(const parameters& p);

}  // namespace orvik::impls
