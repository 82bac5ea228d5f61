#include "cost_options.h"

#include "errors.h"

namespace orvcmd {

namespace {

void require_fit(bool fits, const char* message) {
  if (!fits) throw failure(message);
}

}  // namespace

void require_sense_of_costs(const options& opt) {
  const bool decides = !opt.costs_file.empty() && !opt.weighs_costs;
  require_fit(!opt.weighs_costs || !opt.costs_file.empty(), "-costw needs costs: -costs");
  require_fit(!opt.weighs_costs || opt.class_weights.empty(),
              "-costw and -cw are different weights of the classes");
  require_fit(
      !decides || opt.is_ensemble() || opt.strategy().family != orvik::model::PEP,
      "-costs: pessimistic pruning corrects numbers of errors and has no meaning for costs");
}

}  // namespace orvcmd
