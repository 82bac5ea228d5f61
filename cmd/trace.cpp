#include "trace.h"

namespace orvcmd {

unsigned long next_workers(unsigned long w) { return w < 32 ? w * 2 : w + 16; }

void begin_trace(std::ostream& trace) { trace << "operation\tworkers\tseconds\tspeedup\n"; }

std::unique_ptr<orvik::dtree> trace_operation(
    const options& opt, std::string_view name, const orvik::dtree& model, std::ostream& trace,
    const std::function<double(orvik::dtree&)>& operation) {
  std::unique_ptr<orvik::dtree> copy;
  double first_seconds = 0;
  for (unsigned long w = opt.trace_min_workers; !copy || w <= opt.trace_max_workers;
       w = next_workers(w)) {
    orvik::set_n_workers(w);
    copy.reset(model.clone(/*parameters_only=*/true));
    const double seconds = operation(*copy);
    if (w == opt.trace_min_workers) first_seconds = seconds;
    trace << name << '\t' << w << '\t' << seconds << '\t' << first_seconds / seconds << '\n';
  }
  return copy;
}

}  // namespace orvcmd
