// What a model says of rows whose class is known.
#pragma once

#include <cstdint>
#include <span>
#include <string>
#include <vector>

#include "impls/evaluation/batch_predictor.h"
#include "impls/model/ensemble.h"
#include "orvik/metrics.h"

namespace orvik::impls {

/// Threads: many readers.
class row_judge {
 public:
  /// All must outlive this. `classes` by code.
  row_judge(const ensemble& trees, const table& t, const std::vector<std::string>& classes)
      : trees_(trees), table_(t), classes_(classes) {}

  /// Empties `rows`, keeping its memory.
  void start(judged_rows& rows) const;
  /// Appends a row; `codes` are its codes by attribute, `means` its mean shares by class code, or
  /// empty: then the trees are asked for its shares. `plain` are those before calibration.
  void add(code_t actual, code_t predicted, double weight, std::span<const std::uint32_t> codes,
           std::span<const double> means, std::span<const double> plain, judged_rows& rows) const;

 private:
  const ensemble& trees_;
  const table& table_;
  const std::vector<std::string>& classes_;
};

}  // namespace orvik::impls
