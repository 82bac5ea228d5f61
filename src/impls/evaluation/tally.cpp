#include "impls/evaluation/tally.h"

#include <algorithm>
#include <cassert>
#include <span>
#include <vector>

#include "impls/tables/same_codes.h"
#include "zel/util/run_context.h"

namespace orvik::impls {

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
    const unsigned long size = cases_at_once(batch.size(), t.n_class_codes(), predictor.run());
    predictor.run().for_each_index((batch.size() + size - 1) / size, [&](unsigned long i) {
      const unsigned long at = i * size;
      const unsigned long n = std::min(size, batch.size() - at);
      predictor.predict_rows(t, batch.subspan(at, n), std::span(outcomes).subspan(at, n));
    });
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
