#include "impls/evaluation/tally.h"

#include <algorithm>
#include <span>
#include <vector>

#include "impls/tables/same_codes.h"
#include "zel/util/blocks.h"
#include "zel/util/run_context.h"
#include "zel/util/team.h"

namespace orvik::impls {

namespace {

constexpr unsigned long k_shared_cases = 1024;  // that a process predicts at once

void predict_batch(const table& t, case_span batch, const batch_predictor& predictor,
                   std::span<outcome> outcomes) {
  const auto predict = [&](const zel::util::blocks::block& some, std::span<outcome> to) {
    predictor.predict_rows(t, batch.subspan(some.first, some.size), to);
  };
  const zel::util::run_context& run = predictor.run();
  if (run.companions == nullptr || predictor.n_trees() < k_many_trees) {
    const zel::util::blocks parts(batch.size(),
                                  cases_at_once(batch.size(), t.n_class_codes(), run));
    run.for_each_index(parts.count(), [&](unsigned long i) {
      predict(parts[i], outcomes.subspan(parts[i].first, parts[i].size));
    });
    return;
  }
  const zel::util::blocks parts(batch.size(), k_shared_cases);
  zel::util::share_out(
      run, parts.count(), run.n_slots(),
      [&](unsigned long i) {
        std::vector<outcome> found(parts[i].size);
        predict(parts[i], found);
        return zel::util::bytes_of_items(found);
      },
      [&](unsigned long i, std::string_view bytes) {
        std::ranges::copy(zel::util::take_items<outcome>(bytes),
                          outcomes.begin() + static_cast<std::ptrdiff_t>(parts[i].first));
      });
}

/// Whether every process reads the rows that it predicts only: else each predicts all, which a few
/// trees do in less time than it takes to tell of it.
bool is_read_in_parts(const table& t, const zel::util::run_context& run) {
  return run.companions != nullptr && run.steps.wanted && t.is_mapped();
}

/// Each process predicts the cases that lie side by side in the batch, and keeps no pages of them.
void predict_in_parts(const table& t, case_span batch, const batch_predictor& predictor,
                      std::span<outcome> outcomes) {
  zel::util::team& all = *predictor.run().companions;
  const zel::util::run_context& run = predictor.run();
  const auto by_rank = zel::util::blocks::among(batch.size(), all.size());
  const auto [own_first, n_own] = by_rank[all.rank()];
  const case_span own = batch.subspan(own_first, n_own);
  const zel::util::blocks parts(n_own, cases_at_once(n_own, t.n_class_codes(), run));
  std::vector<outcome> found(n_own);
  run.for_each_index(parts.count(), [&](unsigned long i) {
    const auto [first, n] = parts[i];
    predictor.predict_few_rows(t, own.subspan(first, n), std::span(found).subspan(first, n));
  });
  t.release_pages();
  const std::vector<std::string> told = all.exchange(zel::util::bytes_of_items(found));
  for (unsigned long r = 0; r < told.size(); ++r) {
    std::string_view bytes = told[r];
    std::ranges::copy(zel::util::take_items<outcome>(bytes),
                      outcomes.begin() + static_cast<std::ptrdiff_t>(by_rank[r].first));
  }
}

}  // namespace

double tally(const table& t, const case_list& cases, double weight, conf_matrix& matrix,
             const batch_predictor& predictor) {
  constexpr unsigned long k_batch = 1UL << 16;  // cases predicted before they are tallied
  std::vector<outcome> outcomes(std::min<unsigned long>(cases.size(), k_batch));
  double depths = 0;
  const zel::util::blocks batches(cases.size(), k_batch);
  for (unsigned long b = 0; b < batches.count(); ++b) {
    const auto [first, size] = batches[b];
    const case_span batch = case_span(cases).subspan(first, size);
    require_cases_of(t, batch);
    is_read_in_parts(t, predictor.run()) ? predict_in_parts(t, batch, predictor, outcomes)
                                         : predict_batch(t, batch, predictor, outcomes);
    for (unsigned long i = 0; i < batch.size(); ++i) {
      const auto& [row, case_weight] = batch[i];
      matrix.add(t.class_column().get_row_index(row), outcomes[i].predicted, case_weight * weight);
      depths += outcomes[i].depth * (case_weight * weight);
    }
  }
  matrix.set_ncases(matrix.ncases() + cases.size());
  return depths;
}

}  // namespace orvik::impls
