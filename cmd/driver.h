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
  double cost, cost2;                     // a case, with "-costs"
  double mae, mse, rmse, r, rint, gamma;  // with "-oerr"
};

/// A trained model and the cases kept out of its training; either may be null.
struct training {
  std::unique_ptr<orvik::dtree> model;
  std::unique_ptr<orvik::table::subset> holdout;
  /// What is said of the training cases, of those out of bag and of the folds, where figures are
  /// asked for.
  orvik::judged_rows judged, judged_out_of_bag, judged_in_folds;
  /// Of the rows of the folds, where sets are asked for, shares of 1 for the classes that are in
  /// the set, and 0: each fold has limits of its own.
  orvik::judged_rows sets_in_folds;
};

/// A model with the parameters of the options, without attributes searched or anything grown.
std::unique_ptr<orvik::dtree> make_model(const options& opt, const orvik::table& t);
/// Makes it a forest or bagged trees, where the options ask for them.
void make_ensemble(const options& opt, orvik::dtree& model);

/// Loads the table that the options name. `log` may be null, here and below.
/// Throws early_end when a file name is missing.
std::unique_ptr<orvik::table> load_save_table(const options& opt, std::ostream* log);

/// Whether the options ask for a mapped table and nothing else: none of a model.
bool only_makes_table(const options& opt);

/// Splits off a hold-out part, grows the model and prunes it.
training buildtree(const options& opt, orvik::table* t, _cv_errors& errors, std::ostream* log,
                   std::ostream* trace);

/// Saves the model in the binary form, where the options name a file.
void save_tree(const options& opt, const orvik::dtree& model, std::ostream* log);

class output;

/// Where a run reports of its model; each stream may be null.
struct report_streams {
  std::ostream *log, *text, *xml, *dot;
  output& metrics;
};

/// Writes the graph, the reports on the training cases, the hold-out and the test file, the
/// model's text and its XML with the matrix of the last of these tests, their figures, and scores.
/// A step that fails costs no other: the first error is thrown when all that can be written is
/// written.
void test_save_tree(const options& opt, orvik::table* t, const training& result,
                    const _cv_errors& errors, const report_streams& to);

}  // namespace orvcmd
