// How good a model is on some rows, for people and for programs.
#pragma once

#include <memory>
#include <ostream>
#include <string>
#include <vector>

#include "orvik/conf_matrix.h"
#include "orvik/metrics.h"
#include "zel/text/json.h"

namespace orvverbs {

using json_out = zel::text::json_writer<zel::text::json_sink>;

/// As it is, or of ISO-8859-1 where it is not UTF-8.
std::string utf8(const std::string& text);

/// "12.34 %"
std::string percent(double share);

/// What a model says of rows whose class is known.
struct judged_test {
  std::vector<std::string> classes;            ///< by code
  std::unique_ptr<orvik::conf_matrix> matrix;  ///< null: nothing was tested
  orvik::judged_rows rows;                     ///< none where they are too many for figures
  std::string from;                            ///< which rows: "hold-out rows"
  /// What errors cost; null: nothing was said of it.
  std::shared_ptr<const std::vector<orvik::class_cost>> costs{};
};

/// Whether what is said of so many rows is kept: their shares of the classes take 8 bytes each.
bool keeps_rows(unsigned long n_rows, unsigned long n_classes);
/// The test that rows are of; their matrix is made of them.
judged_test test_of(orvik::judged_rows rows, const std::string& from);

/// Adds the weights of a matrix of the same classes.
void add(orvik::conf_matrix& to, const orvik::conf_matrix& more);

/// "cost: 55 of 100 ROWS, 0.55 a row", where errors have costs.
void write_cost(const judged_test& test, std::ostream& out);
/// Error and majority class.
void write_error(const judged_test& test, std::ostream& out);
/// What errors cost, the matrix, and figures by class and over all.
void write_figures(const judged_test& test, std::ostream& out);
/// Error, matrix and figures: members of an object that the caller has begun; `rows` says which
/// ones they are.
void write_figures(const judged_test& test, const std::string& rows, json_out& json);

/// Cells in columns that are as wide as they must be; the first one is left, the others right.
void write_columns(const std::vector<std::vector<std::string>>& rows, std::ostream& out);

}  // namespace orvverbs
