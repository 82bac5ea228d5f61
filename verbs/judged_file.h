// What a model says of the rows of a file whose classes are known.
#pragma once

#include <string>

#include "new_rows.h"
#include "orvik/orvik.h"

namespace orvverbs {

/// Class of rows whose class the model does not have, in figures.
constexpr char k_other_class[] = "(not in the model)";

struct judged_file {
  orvik::judged_rows rows;  ///< of known class; those of other classes have one more, the last
  unsigned long unclassed = 0, other = 0;  ///< rows of unknown class, and of one not in the model
};

/// Throws std::runtime_error, naming `file`, where it has no class or no row of known class.
judged_file judge_file(const orvik::dtree& model, new_rows& rows, const std::string& file);

/// Tells on standard error of rows, unless there are none: "FILE: 3 rows of unknown class".
void tell_rows(const std::string& file, unsigned long n, const char* what);

}  // namespace orvverbs
