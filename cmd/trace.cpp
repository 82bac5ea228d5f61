#include "trace.h"

namespace orvcmd {

unsigned long next_workers(unsigned long w) { return w < 32 ? w * 2 : w + 16; }

void begin_trace(std::ostream& trace) { trace << "operation\tworkers\tseconds\tspeedup\n"; }

std::unique_ptr<orvik::dtree> trace_build(const options& opt, orvik::table* t,
                                          orvik::table::subset* cases, const orvik::dtree& model,
                                          std::ostream& trace) {
  std::unique_ptr<orvik::dtree> built;
  double first_seconds = 0;
  for (unsigned long w = opt.trace_min_workers; !built || w <= opt.trace_max_workers;
       w = next_workers(w)) {
    orvik::set_n_workers(w);
    built.reset(model.clone(/*parameters_only=*/true));
    built->build(t, cases);
    const double seconds = built->get_elapsed();
    if (w == opt.trace_min_workers) first_seconds = seconds;
    trace << "build\t" << w << '\t' << seconds << '\t' << first_seconds / seconds << '\n';
  }
  return built;
}

}  // namespace orvcmd
