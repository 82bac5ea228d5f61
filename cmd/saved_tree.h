// Runs on a tree that an earlier run saved: there is a model, but no table.
#pragma once

#include <memory>
#include <ostream>

#include "options.h"
#include "orvik/orvik.h"

namespace orvcmd {

/// Throws std::runtime_error, naming the option, if `opt` asks to load a tree and for something
/// that needs the rows of a table.
void require_table_if_needed(const options& opt);

/// Loads the tree that the options name; null for a file that holds none. `log` may be null.
std::unique_ptr<orvik::dtree> load_tree(const options& opt, std::ostream* log);

}  // namespace orvcmd
