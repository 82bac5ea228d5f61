#include "predictions.h"

namespace orvverbs {

void predict_block(const orvik::cell_predictor& model, const row_block& rows, bool with_shares,
                   predicted_rows& to) {
  to.shares.clear();
  to.plain.clear();
  to.outcomes = with_shares ? model.predict_codes(rows.codes, rows.n, to.shares, to.plain)
                            : model.predict_codes(rows.codes, rows.n);
}

}  // namespace orvverbs
