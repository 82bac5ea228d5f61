// How the nodes of a tree choose their tests.
#pragma once

#include "orvik/enums.h"
#include "orvik/growth.h"
#include "zel/adt/bitmap.h"

namespace orvik::impls {

struct split_rules {
  model::split_type type;
  double min_weight;               // m, the least of a branch
  const zel::adt::bitmap* usable;  // attributes that may be tested; null: all
  unsigned long n_usable;          // how many these are
  growth how = {};
};

}  // namespace orvik::impls
