// Predictions for blocks of rows, on all workers.
#pragma once

#include <vector>

#include "new_rows.h"
#include "orvik/cell_predictor.h"

namespace orvverbs {

struct predicted_rows {
  std::vector<orvik::dtree::prediction> outcomes;
  std::vector<double> shares;  ///< row by row, a class code after the other; none unless asked for
  std::vector<double> plain;   ///< the same before calibration
};

void predict_block(const orvik::cell_predictor& model, const row_block& rows, bool with_shares,
                   predicted_rows& to);

}  // namespace orvverbs
