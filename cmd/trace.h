// The scalability trace: one operation repeated with growing numbers of workers.
#pragma once

#include <memory>
#include <ostream>

#include "driver.h"

namespace orvcmd {

/// The number of workers after w: doubled below 32, 16 more from there on.
unsigned long next_workers(unsigned long w);

/// Writes the header of the tab-separated trace.
void begin_trace(std::ostream& trace);

/// Builds a fresh copy of `model` on `cases` with every number of workers of the options, a line
/// each. @return the last copy.
std::unique_ptr<orvik::dtree> trace_build(const options& opt, orvik::table* t,
                                          orvik::table::subset* cases, const orvik::dtree& model,
                                          std::ostream& trace);

}  // namespace orvcmd
