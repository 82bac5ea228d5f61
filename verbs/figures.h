// How good a model is on some rows, for people and for programs.
#pragma once

#include <ostream>
#include <string>

#include "orvik/conf_matrix.h"
#include "zel/text/json.h"

namespace orvverbs {

using json_out = zel::text::json_writer<zel::text::json_sink>;

/// "12.34 %"
std::string percent(double share);

/// Error, majority class and matrix; `from` says of which rows.
void write_figures(const orvik::conf_matrix& matrix, const std::vector<std::string>& classes,
                   const std::string& from, std::ostream& out);
/// Members of an object that the caller has begun.
void write_figures(const orvik::conf_matrix& matrix, const std::vector<std::string>& classes,
                   const std::string& from, json_out& json);

/// A matrix of weights: actual classes down, predicted ones across.
void write_matrix(const orvik::conf_matrix& matrix, const std::vector<std::string>& classes,
                  std::ostream& out);

/// Cells in columns that are as wide as they must be; the first one is left, the others right.
void write_columns(const std::vector<std::vector<std::string>>& rows, std::ostream& out);

}  // namespace orvverbs
