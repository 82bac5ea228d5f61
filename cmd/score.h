// A trained model on files of rows: the test file and the score file.
#pragma once

#include <memory>
#include <ostream>

#include "options.h"
#include "orvik/orvik.h"

namespace orvcmd {

/// The errors of a model on the test file, and the values there that counted as unknown; where
/// figures are asked for, what is said of its rows.
struct file_test {
  std::unique_ptr<orvik::conf_matrix> matrix;
  orvik::judged_rows judged;
  orvik::dtree::unseen_values unseen;
};

/// Tests the model on the test file of the options.
/// Throws std::runtime_error for a file that cannot be read and for the first bad row.
file_test test_on_file(const options& opt, const orvik::dtree& model);
/// Logs rows, time and unseen values; `log` may be null, here and below.
void log_file_test(std::ostream* log, const file_test& test);

/// Logs the columns whose values counted as unknown, and how many.
void log_unseen(std::ostream* log, const orvik::dtree::unseen_values& unseen);

/// Scores the score file of the options into the score output file, which is replaced once there
/// are rows to read; without one, and without one of reasons, says so on standard output.
/// Throws std::runtime_error for a file that cannot be read or written and for the first bad row.
void score_file(const options& opt, const orvik::dtree& model, std::ostream* log);

}  // namespace orvcmd
