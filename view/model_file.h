// What is looked at: a model as orvcmd saved it, and, where asked for, a table of rows beside it.
#pragma once

#include <memory>
#include <optional>
#include <string>

#include "orvik/dtree.h"

namespace orvik::view {

/// Where model and rows are.
struct sources {
  std::string model;        // written by orvcmd -tb
  std::string names, data;  // of the rows; both or neither, empty for none
  char separator = ',';
  std::optional<unsigned long> seed;  // of the training run
};

/// A model with at least one tree, which has its schema; the rows are null without files of them.
struct opened {
  std::unique_ptr<orvik::dtree> model;
  std::unique_ptr<orvik::table> rows;
};

/// Reads them. The rows need not be those the model was grown on, nor have its value sets; their
/// columns have the names, the types and the roles of the model's, in its order. Case weights are
/// rescaled as those of a training table. With a seed the model knows its draws again, if they are
/// of all the rows.
/// Throws std::runtime_error, naming the file, for one that cannot be read, that holds something
/// else or does not fit the model, and for a model without trees.
opened open_sources(const sources& from);

}  // namespace orvik::view
