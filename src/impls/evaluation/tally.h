// Predictions for a case list, made by all workers and tallied in the order of the list: sums of
// fractional weights have one order for any number of workers.
#pragma once

#include <algorithm>
#include <span>
#include <vector>

#include "impls/evaluation/conf_matrix.h"
#include "impls/tables/table.h"
#include "zel/util/parallel.h"

namespace orvik::impls {

/// A predicted class, how sure it is, and the depth reached times the case's weight.
struct outcome {
  code_t predicted;
  double confidence;
  double depth;
};

/// Some cases of a list, next to each other.
using case_span = std::span<const case_list::value_type>;

/// Adds every case, its weight times `weight`, to `matrix` at (class, predicted class).
/// `predict(cases, outcomes)` fills in the outcomes of a few cases, depths for a weight of 1; it
/// is called on any thread. @return the sum of depth x weight. Memory does not grow with the list.
template <class Predict>
double tally(const table& t, const case_list& cases, double weight, conf_matrix& matrix,
             const Predict& predict) {
  constexpr unsigned long k_batch = 1UL << 16;  // cases predicted before they are tallied
  constexpr unsigned long k_chunk = 1UL << 9;   // cases a task predicts
  std::vector<outcome> outcomes(std::min<unsigned long>(cases.size(), k_batch));
  double depths = 0;
  for (unsigned long first = 0; first < cases.size(); first += k_batch) {
    const case_span batch =
        case_span(cases).subspan(first, std::min(k_batch, cases.size() - first));
    const unsigned long n_chunks = (batch.size() + k_chunk - 1) / k_chunk;
    zel::util::parallel::for_each_index(n_chunks, [&](unsigned long chunk) {
      const unsigned long at = chunk * k_chunk;
      const unsigned long n = std::min(k_chunk, batch.size() - at);
      predict(batch.subspan(at, n), std::span(outcomes).subspan(at, n));
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
