// The scalability trace: one operation repeated with growing numbers of workers.
#pragma once

#include <functional>
#include <memory>
#include <ostream>
#include <string_view>

#include "driver.h"

namespace orvcmd {

/// The number of workers after w: doubled below 32, 16 more from there on.
unsigned long next_workers(unsigned long w);

/// Writes the header of the tab-separated trace.
void begin_trace(std::ostream& trace);

/// Runs `operation`, which returns its seconds, on a fresh copy of `model` with every number of
/// workers of the options, a line each under `name`. @return the last copy.
std::unique_ptr<orvik::dtree> trace_operation(
    const options& opt, std::string_view name, const orvik::dtree& model, std::ostream& trace,
    const std::function<double(orvik::dtree&)>& operation);

}  // namespace orvcmd
