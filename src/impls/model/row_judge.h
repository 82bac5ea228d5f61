// What a model says of rows whose class is known.
#pragma once

#include <cstdint>
#include <span>
#include <string>
#include <tuple>
#include <vector>

#include "impls/evaluation/batch_predictor.h"
#include "impls/model/ensemble.h"
#include "orvik/metrics.h"

namespace orvik {

/// What processes tell one another of rows: all know the classes.
inline auto items_of(judged_rows& rows) {
  return std::tie(rows.actual, rows.predicted, rows.weights, rows.shares, rows.plain);
}

}  // namespace orvik

namespace orvik::impls {

/// Threads: many readers.
class row_judge {
 public:
  /// `classes`, by code, must outlive this.
  explicit row_judge(const std::vector<std::string>& classes) : classes_(classes) {}

  /// Empties `rows`, keeping its memory.
  void start(judged_rows& rows) const;
  /// Whether the shares of the classes are kept: not of very many.
  bool keeps_shares() const { return classes_.size() <= k_most_judged_classes; }
  /// Appends a row; `shares` are none where they are not kept.
  void add(code_t actual, code_t predicted, double weight, const row_shares& shares,
           judged_rows& rows) const;

 private:
  const std::vector<std::string>& classes_;
};

}  // namespace orvik::impls
