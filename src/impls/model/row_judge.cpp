#include "impls/model/row_judge.h"

#include "impls/model/dtree.h"
#include "zel/util/blocks.h"
#include "zel/util/side_by_side.h"

namespace orvik::impls {

void row_judge::start(judged_rows& rows) const {
  if (rows.classes != classes_) rows.classes = classes_;
  rows.actual.clear();
  rows.predicted.clear();
  rows.weights.clear();
  rows.shares.clear();
  rows.plain.clear();
}

void row_judge::add(code_t actual, code_t predicted, double weight, const row_shares& shares,
                    judged_rows& rows) const {
  rows.actual.push_back(actual);
  rows.predicted.push_back(predicted);
  rows.weights.push_back(weight);
  rows.plain.insert(rows.plain.end(), shares.plain.begin(), shares.plain.end());
  rows.shares.insert(rows.shares.end(), shares.all.begin(), shares.all.end());
}

judged_rows dtree::judge(const table& t, const case_list& cases) const {
  require_values_of(t);
  constexpr unsigned long k_chunk = 1UL << 10;
  const std::vector<std::string> classes = class_names();
  const row_judge judge(classes);
  const batch_predictor predictor = make_predictor(t);
  const unsigned long n_attributes = t.n_attributes();
  const zel::util::blocks chunks(cases.size(), k_chunk);
  std::vector<judged_rows> parts(chunks.count());
  const auto judge_chunk = [&](unsigned long i) {
    judged_rows rows;
    const auto [first, size] = chunks[i];
    const case_span some = case_span(cases).subspan(first, size);
    std::vector<std::uint32_t> codes;
    std::vector<outcome> outcomes(some.size());
    gather_codes(t, some, codes);
    const std::size_t kept = judge.keeps_shares() ? classes.size() : 0;
    const std::size_t kept_plain = predictor.calibrates() ? kept : 0;
    std::vector<double> shares(some.size() * kept), plain(some.size() * kept_plain);
    predictor.predict({codes, n_attributes}, outcomes, shares, plain);
    judge.start(rows);
    for (std::size_t k = 0; k < some.size(); ++k) {
      const auto& [row, weight] = some[k];
      judge.add(t.class_column().get_row_index(row), outcomes[k].predicted, weight,
                {std::span(shares).subspan(k * kept, kept),
                 std::span(plain).subspan(k * kept_plain, kept_plain)},
                rows);
    }
    return rows;
  };
  run_->with_workers([&] {
    const auto few = alone_unless_many_trees();
    zel::util::make_side_by_side(*run_, parts, judge_chunk);
  });
  judged_rows all;
  judge.start(all);
  for (judged_rows& part : parts) {
    part.classes = classes;
    append(all, part);
  }
  return all;
}

}  // namespace orvik::impls
