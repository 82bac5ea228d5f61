#include "predictions.h"

#include <algorithm>

#include "zel/util/run_context.h"

namespace orvverbs {

namespace {

constexpr unsigned long k_rows_at_once = 1024;

}  // namespace

void predict_block(const orvik::dtree& model, const row_block& rows, bool with_shares,
                   predicted_rows& to) {
  const orvik::schema_view schema = model.get_schema();
  const unsigned long width = schema.n_attributes(), n_classes = schema.n_class_codes();
  to.outcomes.resize(rows.n);
  to.shares.resize(with_shares ? rows.n * n_classes : 0);
  to.plain.resize(to.shares.size());
  zel::util::run_context& run = zel::util::default_context();
  const auto predict_some = [&](unsigned long piece) {
    const unsigned long begin = piece * k_rows_at_once;
    const unsigned long n = std::min(k_rows_at_once, rows.n - begin);
    const auto from = rows.codes.begin() + static_cast<long>(begin * width);
    const std::vector<orvik::code_t> codes(from, from + static_cast<long>(n * width));
    std::vector<double> shares, plain;
    const auto some =
        with_shares ? model.predict_codes(codes, n, shares, plain) : model.predict_codes(codes, n);
    std::ranges::copy(some, to.outcomes.begin() + static_cast<long>(begin));
    std::ranges::copy(shares, to.shares.begin() + static_cast<long>(begin * n_classes));
    std::ranges::copy(plain, to.plain.begin() + static_cast<long>(begin * n_classes));
  };
  run.with_workers(
      [&] { run.for_each_index((rows.n + k_rows_at_once - 1) / k_rows_at_once, predict_some); });
}

}  // namespace orvverbs
