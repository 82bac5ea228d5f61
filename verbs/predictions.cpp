#include "predictions.h"

namespace orvverbs {

void predict_block(const orvik::cell_predictor& model, const row_block& rows, bool with_shares,
                   predicted_rows& to) {
  to.shares.clear();
  to.outcomes = model.predict_codes(rows.codes, rows.n, with_shares ? &to.shares : nullptr);
}

}  // namespace orvverbs
