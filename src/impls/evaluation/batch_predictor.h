// Predicts many cases with one tree, or by the votes of several.
#pragma once

#include <memory>
#include <span>
#include <vector>

#include "impls/evaluation/flat_tree.h"
#include "impls/evaluation/tally.h"

namespace orvik::impls {

/// Threads: many readers.
class batch_predictor {
 public:
  /// The trees must outlive this and stay as they are. With `vote` each has one vote and the
  /// confidence is the share of the votes; without, there is one tree.
  batch_predictor(const table& t, std::vector<const decision_tree*> trees, bool vote);

  /// Rows of a table with the codes of the training table. Depths are for a weight of 1, of
  /// several trees their sum.
  void predict_rows(const table& t, case_span cases, std::span<outcome> outcomes) const;
  /// Cases by their codes.
  void predict(const case_block& cases, std::span<outcome> outcomes) const;

 private:
  void predict_one(const flat_tree& tree, const case_block& cases,
                   std::span<outcome> outcomes) const;
  void predict_votes(const case_block& cases, std::span<outcome> outcomes) const;

  unsigned long n_class_codes_;
  bool vote_;
  std::vector<flat_tree> trees_;
};

}  // namespace orvik::impls
