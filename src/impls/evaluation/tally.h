// Predictions for a case list, made by all workers and tallied in the order of the list: sums of
// fractional weights have one order for any number of workers.
#pragma once

#include <algorithm>
#include <vector>

#include "impls/evaluation/conf_matrix.h"
#include "impls/tables/table.h"
#include "zel/util/parallel.h"

namespace orvik::impls {

/// A predicted class and the depth reached times the case's weight.
struct outcome {
  code_t predicted;
  double depth;
};

/// Adds every case, its weight times `weight`, to `matrix` at (class, predicted class).
/// `predict(row, weight)` gives the outcome of a case; it is called on any thread.
/// @return the sum of the depths. Memory does not grow with the list.
template <class Predict>
double tally(const table& t, const case_list& cases, double weight, conf_matrix& matrix,
             const Predict& predict) {
  constexpr unsigned long k_batch = 1UL << 16;  // cases predicted before they are tallied
  constexpr unsigned long k_chunk = 1UL << 10;  // cases a task predicts
  std::vector<outcome> outcomes(std::min<unsigned long>(cases.size(), k_batch));
  double depths = 0;
  for (unsigned long first = 0; first < cases.size(); first += k_batch) {
    const unsigned long n = std::min(k_batch, cases.size() - first);
    zel::util::parallel::for_each_index((n + k_chunk - 1) / k_chunk, [&](unsigned long chunk) {
      const unsigned long end = std::min(n, (chunk + 1) * k_chunk);
      for (unsigned long i = chunk * k_chunk; i < end; ++i) {
        const auto& [row, case_weight] = cases[first + i];
        outcomes[i] = predict(row, case_weight * weight);
      }
    });
    for (unsigned long i = 0; i < n; ++i) {
      const auto& [row, case_weight] = cases[first + i];
      matrix.add(t.class_column().get_row_index(row), outcomes[i].predicted, case_weight * weight);
      depths += outcomes[i].depth;
    }
  }
  matrix.set_ncases(matrix.ncases() + cases.size());
  return depths;
}

}  // namespace orvik::impls
