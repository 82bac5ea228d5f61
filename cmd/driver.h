// The steps of a training run, each over the public library: load the table, train, report.
#pragma once

#include <memory>
#include <ostream>

#include "options.h"
#include "orvik/orvik.h"

namespace orvcmd {

/// Sums over the folds of a cross-validation, each with the sum of squares behind it.
struct _cv_errors {
  double size, size2;
  double depth, depth2;
  double features, features2;
  double time, time2;
  double misc, misc2;
  double mae, mse, rmse, r, rint, gamma;  // with "-oerr"
};

/// A trained model and the cases kept out of its training; either may be null.
struct training {
  std::unique_ptr<orvik::dtree> model;
  std::unique_ptr<orvik::table::subset> holdout;
};

/// Loads the table that the options name. `log` may be null, here and below.
/// Throws early_end when a file name is missing.
std::unique_ptr<orvik::table> load_save_table(const options& opt, std::ostream* log);

/// Splits off a hold-out part, grows the model and prunes it.
training buildtree(const options& opt, orvik::table* t, _cv_errors& errors, std::ostream* log,
                   std::ostream* trace);

/// Saves the model in the binary form, where the options name a file.
void save_tree(const options& opt, const orvik::dtree& model, std::ostream* log);

/// Writes the graph, the reports on the training cases, the hold-out and the test file, the
/// model's text and its XML with the matrix of the last of these tests, and scores.
/// `text`, `xml` and `dot` may be null. A part that fails costs no other: the first error is
/// thrown when all that can be written is written.
void test_save_tree(const options& opt, orvik::table* t, orvik::dtree* model,
                    orvik::table::subset* holdout, _cv_errors& errors, std::ostream* log,
                    std::ostream* text, std::ostream* xml, std::ostream* dot);

}  // namespace orvcmd
