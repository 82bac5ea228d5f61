// The public library: tables, case subsets, models, confusion matrices.
//
// Every object is a handle that owns its implementation. Functions that return a pointer return a
// new object, which the caller deletes (or holds in a std::unique_ptr). Errors are
// std::runtime_error, unless said otherwise. A handle is used by one thread at a time, views and
// tables that are loaded may be read by several; long operations spread over threads by themselves.
// How many, the seed of their draws and their end before the end are matters of a run_context:
// handles that use different ones can be at work side by side, with the results that they have
// alone. All others share the default context, which the functions below are about.
#pragma once

#include <string>

#include "orvik/conf_matrix.h"
#include "orvik/dtree.h"
#include "orvik/enums.h"
#include "orvik/export.h"
#include "orvik/run_context.h"
#include "orvik/strategies.h"
#include "orvik/table.h"

namespace orvik {

/// Such as "2.2.0"
ORVIK_EXPORT const char* get_version();
/// The same as a number: 20200
ORVIK_EXPORT int get_build();
/// Name and version, as documents tell who wrote them: "Orvik 2.2.0"
ORVIK_EXPORT const char* get_product();
/// The line that programs show at their start.
ORVIK_EXPORT const char* get_copyright();

/// Number of threads that operations of the default context may use.
ORVIK_EXPORT unsigned long get_n_workers();
/// Sets it; 0 restores the default, the number of hardware threads.
ORVIK_EXPORT void set_n_workers(unsigned long n);

/// Throws std::runtime_error, as reading it would, for a text file that is missing, a folder, or
/// named .gz without being one. Pipes and devices that exist are left alone.
ORVIK_EXPORT void check_text_file(const std::string& file);

/// Makes all random draws of the default context from now on repeatable, for any number of workers.
/// Without it every run draws differently.
ORVIK_EXPORT void set_seed(unsigned long seed);

}  // namespace orvik
