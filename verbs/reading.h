// How the files of a model are read: what its training file looked like, kept in the model's file.
#pragma once

#include <string>
#include <vector>

#include "cell_rules.h"
#include "orvik/dtree.h"

namespace orvverbs {

struct read_column {
  std::string name;  ///< in the training file; models have it without characters that break lines
  bool key = false;  ///< left out, as it told every row apart
};

/// Columns are those of the model's schema, in its order.
struct reading {
  bool has_header = true;
  char separator = ',';
  orvprep::cell_rules cells;
  std::vector<read_column> columns;
};

/// Puts it into the model, to be saved with it.
void keep_reading(const reading& how, orvik::dtree& model);
/// That of a model; of one that has none, as orvcmd saves it, the names of its schema. Throws
/// std::runtime_error for one that is not of this model.
reading reading_of(const orvik::dtree& model);

/// Reads a model that has trees. Throws std::runtime_error, naming the file.
std::unique_ptr<orvik::dtree> read_model(const std::string& file);

}  // namespace orvverbs
