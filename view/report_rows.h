// What a table of rows tells of a model: its errors on them, what it predicts for each, and what
// its attributes are worth there.
#pragma once

#include <memory>
#include <vector>

#include "orvik/dtree.h"

namespace orvik::view {

/// The rows of a table in the codes of a model, whose values may be others. A number that training
/// did not have takes its place among those it had, any other value counts as unknown.
/// Threads: many readers.
class recoded_rows {
 public:
  recoded_rows(const recoded_rows&) = delete;
  recoded_rows& operator=(const recoded_rows&) = delete;
  /// Both must outlive this; the columns of `rows` are those of the model.
  recoded_rows(const orvik::dtree& model, const orvik::table& rows);

  unsigned long size() const { return weights_.size(); }
  /// Writes a code for every attribute.
  void codes_of(orvik::row_t row, orvik::code_t* codes) const;
  orvik::code_t code_of(orvik::row_t row, unsigned long attribute) const;
  orvik::code_t class_of(orvik::row_t row) const;
  double weight_of(orvik::row_t row) const { return weights_[row]; }

 private:
  std::vector<orvik::code_t> recode(unsigned long column) const;
  orvik::code_t own_code(unsigned long attribute, orvik::code_t given) const {
    const orvik::code_t* const own = own_codes_[attribute];
    return own == nullptr ? orvik::k_unknown : own[given];
  }

  orvik::schema_view schema_;
  orvik::schema_view rows_;
  std::vector<double> weights_;                    // by row
  std::vector<std::vector<orvik::code_t>> codes_;  // by column and code of the rows
  std::vector<const orvik::code_t*> own_codes_;    // by attribute; null where none is asked for
};

/// Class codes of a model, at most, whose matrices and figures are shown.
constexpr unsigned long k_most_matrix_classes = 120;

/// What the model says of the rows, in order; without shares where figures are not shown.
struct predicted_rows {
  orvik::judged_rows judged;
  std::vector<double> confidences;
};
predicted_rows predict_rows(const orvik::dtree& model, const recoded_rows& rows);

/// The matrix of predictions for all rows.
std::unique_ptr<orvik::conf_matrix> test_on_rows(const orvik::judged_rows& rows);
/// Rows of which only their sums by class and predicted class are known, a row a cell; no shares.
orvik::judged_rows rows_of(const std::vector<std::string>& classes,
                           const orvik::conf_matrix& matrix);

/// What the model's error on the rows rises by when the values of an attribute are permuted among
/// them, by attribute; 0 for those not in `tested`. Of many rows it takes some, evenly spread. The
/// order is the same in every run.
std::vector<double> permutation_on_rows(const orvik::dtree& model, const recoded_rows& rows,
                                        const std::vector<unsigned long>& tested);

}  // namespace orvik::view
