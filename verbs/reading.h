// How the files of a model are read: what its training file looked like, kept in the model's file.
#pragma once

#include <memory>
#include <string>

#include "orvik/dtree.h"
#include "plan.h"

namespace orvverbs {

struct reading {
  char separator = ',';
  char comment = 0;          ///< that lines to be passed over begin with; 0: none
  orvprep::table_plan plan;  ///< columns in the order of the model's schema
};

/// Of a model or a table whose columns are all that is known.
reading plain_reading(const orvik::schema_view& schema);

/// Puts it into the model, to be saved with it.
void keep_reading(const reading& how, orvik::dtree& model);
/// That of a model; of one that has none, as orvcmd saves it, the names of its schema. Throws
/// std::runtime_error for one that is not of this model.
reading reading_of(const orvik::dtree& model);

/// Reads a model that has trees. Throws std::runtime_error, naming the file.
std::unique_ptr<orvik::dtree> read_model(const std::string& file);

}  // namespace orvverbs
