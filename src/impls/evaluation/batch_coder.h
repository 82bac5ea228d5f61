// Text of rows into codes, many rows at a time, to be classified by a model of another table.
//
// Rows are cut and coded column by column, as the loader does it. Numbers are placed among the
// limits of the model's tests, so that no table of all their values is searched. Where a row is of
// another form than those before it, or bad, the rest of the text goes row by row through
// row_coder: it says what is wrong with which value, and what a row may look like.
#pragma once

#include <memory>
#include <optional>
#include <span>
#include <string>
#include <string_view>
#include <vector>

#include "impls/evaluation/row_coder.h"
#include "impls/loading/row_splitter.h"
#include "impls/values/number_limits.h"

namespace orvik::impls {

/// How a model's attributes take part in its tests, for the coders of all workers.
struct coded_columns {
  /// `limits`: see batch_predictor::limits().
  coded_columns(const table& t, const std::vector<std::vector<code_t>>& limits);

  std::vector<std::unique_ptr<number_limits>> numbers;  // by attribute; null for looked up texts
};

/// Threads: one.
class batch_coder {
 public:
  enum class rows { TEST, SCORE };

  /// `t` and `columns` must outlive this.
  batch_coder(const table& t, const row_coder::rules& how, const coded_columns& columns)
      : table_(t), columns_(columns), coder_(t, how) {}

  /// Forgets the rows, and takes those of `text`, whole lines behind which cell_batch::k_readable
  /// bytes may be read, up to the first bad one. @return the error of the row after them.
  std::optional<std::string> take(std::string_view text, rows what, char separator);

  std::size_t size() const { return n_rows_; }
  /// Row by row, an attribute after the other.
  std::span<const std::uint32_t> codes() const {
    return std::span(codes_).first(n_rows_ * table_.n_attributes());
  }
  // Of row i of test rows.
  code_t class_code(std::size_t i) const { return classes_[i]; }
  double weight(std::size_t i) const { return weights_[i]; }
  /// Number of values taken as unknown, by column of the table.
  const std::vector<unsigned long>& unseen() const { return coder_.unseen(); }

 private:
  std::string_view take_batches(std::string_view text, rows what, char separator);
  bool take_batch(const row_coder::form& form, std::size_t n);
  bool code_column(const row_coder::field& f, const cell_batch& cells, std::size_t first_row);
  void resize(std::size_t n);

  const table& table_;
  const coded_columns& columns_;
  row_coder coder_;
  std::optional<row_splitter> splitter_;
  std::size_t n_fields_ = 0;  // of the splitter
  std::size_t n_rows_ = 0;
  std::vector<std::uint32_t> codes_;
  std::vector<code_t> classes_;
  std::vector<double> weights_;
  std::vector<unsigned long> unseen_before_;
};

}  // namespace orvik::impls
