// What a table of rows tells of a model: its errors on them, what it predicts for each, and what
// its attributes are worth there.
#pragma once

#include <cstdint>
#include <memory>
#include <vector>

#include "impls/evaluation/conf_matrix.h"
#include "impls/model/dtree.h"
#include "impls/tables/table.h"

namespace orvview {

/// The rows of a table in the codes of a model, whose value sets may be others. A number that
/// training did not have takes its place among those it had, any other value counts as unknown.
/// Threads: many readers.
class recoded_rows {
 public:
  /// Both must outlive this; the columns of `rows` are those of the model.
  recoded_rows(const orvik::impls::dtree& model, const orvik::impls::table& rows);

  unsigned long size() const { return rows_.n_rows(); }
  /// By attribute.
  void codes_of(orvik::impls::row_t row, std::vector<orvik::impls::code_t>& codes) const;
  orvik::impls::code_t class_of(orvik::impls::row_t row) const;
  double weight_of(orvik::impls::row_t row) const { return rows_.get_weight(row); }

 private:
  std::vector<orvik::impls::code_t> recode(unsigned long column) const;

  const orvik::impls::table& schema_;
  const orvik::impls::table& rows_;
  std::vector<std::vector<orvik::impls::code_t>> codes_;  // by column and code of the rows
};

/// Predictions for the first n rows.
std::vector<orvik::impls::decision_tree::prediction> predict_rows(const orvik::impls::dtree& model,
                                                                  const recoded_rows& rows,
                                                                  unsigned long n);

/// The matrix of predictions for all rows.
std::unique_ptr<orvik::impls::conf_matrix> test_on_rows(
    const orvik::impls::dtree& model, const recoded_rows& rows,
    const std::vector<orvik::impls::decision_tree::prediction>& predictions);

/// What the model's error on the rows rises by when the values of an attribute are permuted among
/// them, by attribute; 0 for those not in `tested`. Of many rows it takes some, evenly spread. The
/// order is the same in every run.
std::vector<double> permutation_on_rows(const orvik::impls::dtree& model, const recoded_rows& rows,
                                        const zel::adt::bitmap& tested);

}  // namespace orvview
