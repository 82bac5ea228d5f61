#include "impls/evaluation/tally.h"

#include <algorithm>
#include <cassert>
#include <span>
#include <vector>

#include "impls/tables/same_codes.h"
#include "zel/util/run_context.h"
#include "zel/util/team.h"

namespace orvik::impls {

namespace {

constexpr unsigned long k_shared_cases = 1024;  // that a process predicts at once

void predict_batch(const table& t, case_span batch, const batch_predictor& predictor,
                   std::span<outcome> outcomes) {
  const auto predict = [&](unsigned long at, unsigned long size, std::span<outcome> to) {
    const unsigned long n = std::min(size, batch.size() - at);
    predictor.predict_rows(t, batch.subspan(at, n), to.first(n));
  };
  const zel::util::run_context& run = predictor.run();
  if (run.companions == nullptr || predictor.n_trees() < k_many_trees) {
    const unsigned long size = cases_at_once(batch.size(), t.n_class_codes(), run);
    run.for_each_index((batch.size() + size - 1) / size, [&](unsigned long i) {
      predict(i * size, size, outcomes.subspan(i * size));
    });
    return;
  }
  const unsigned long n_parts = (batch.size() + k_shared_cases - 1) / k_shared_cases;
  zel::util::share_out(
      run, n_parts, run.n_slots(),
      [&](unsigned long i) {
        const unsigned long at = i * k_shared_cases;
        std::vector<outcome> found(std::min(k_shared_cases, batch.size() - at));
        predict(at, k_shared_cases, found);
        return zel::util::bytes_of_items(found);
      },
      [&](unsigned long i, std::string_view bytes) {
        std::ranges::copy(zel::util::take_items<outcome>(bytes),
                          outcomes.begin() + static_cast<std::ptrdiff_t>(i * k_shared_cases));
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
  const std::size_t part = (batch.size() + all.size() - 1) / all.size();
  const auto part_of = [&](unsigned long rank) {
    const std::size_t at = std::min(rank * part, batch.size());
    return batch.subspan(at, std::min(part, batch.size() - at));
  };
  const case_span own = part_of(all.rank());
  const unsigned long size = cases_at_once(own.size(), t.n_class_codes(), predictor.run());
  std::vector<outcome> found(own.size());
  predictor.run().for_each_index((own.size() + size - 1) / size, [&](unsigned long i) {
    const std::size_t n = std::min(size, own.size() - i * size);
    predictor.predict_few_rows(t, own.subspan(i * size, n), std::span(found).subspan(i * size, n));
  });
  t.release_pages();
  const std::vector<std::string> told = all.exchange(zel::util::bytes_of_items(found));
  for (unsigned long r = 0; r < told.size(); ++r) {
    std::string_view bytes = told[r];
    std::ranges::copy(zel::util::take_items<outcome>(bytes),
                      outcomes.begin() + (part_of(r).data() - batch.data()));
  }
}

}  // namespace

double tally(const table& t, const case_list& cases, double weight, conf_matrix& matrix,
             const batch_predictor& predictor) {
  constexpr unsigned long k_batch = 1UL << 16;  // cases predicted before they are tallied
  std::vector<outcome> outcomes(std::min<unsigned long>(cases.size(), k_batch));
  double depths = 0;
  for (unsigned long first = 0; first < cases.size(); first += k_batch) {
    const case_span batch =
        case_span(cases).subspan(first, std::min(k_batch, cases.size() - first));
    assert(!batch.empty());
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
