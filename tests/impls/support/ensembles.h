// Ensembles that can be grown again, for tests.
#pragma once

#include <memory>
#include <sstream>
#include <string>

#include "impls/model/dtree.h"
#include "impls/support/table_text.h"
#include "zel/util/seed.h"

namespace orvik::impls {

/// While it lives, draws are repeatable.
class run_seed {
 public:
  explicit run_seed(unsigned long seed) { zel::util::set_seed(seed); }
  ~run_seed() { zel::util::clear_seed(); }
  run_seed(const run_seed&) = delete;
  run_seed& operator=(const run_seed&) = delete;
};

struct ensemble_plan {
  unsigned long trees;
  bool forest;  // else bagging
  unsigned long seed;
  unsigned long max_depth = k_no_depth_limit;
  combination answer = combination::votes;
};

/// An ensemble without pruning on `cases`, null for all rows of `t`.
inline std::unique_ptr<dtree> grow_ensemble(const table& t, const ensemble_plan& plan,
                                            const case_list* cases = nullptr) {
  const run_seed seed(plan.seed);
  auto model = std::make_unique<dtree>("t");
  model->set_pruning_strategy(model::NO_PRUNING);
  model->set_forest(plan.forest, !plan.forest, plan.trees);
  model->set_max_depth(plan.max_depth);
  model->set_combination(plan.answer);
  const std::unique_ptr<case_list> all(t.get_all());
  model->build(&t, cases == nullptr ? all.get() : cases);
  return model;
}

inline std::string text_of(const dtree& model) {
  std::ostringstream out;
  model.toTEXT(out, 0);
  return out.str();
}

}  // namespace orvik::impls
