// One worker's part in predicting a text of rows: the rows of a block into codes, the codes into
// outcomes.
#pragma once

#include <algorithm>
#include <memory>
#include <span>

#include "impls/evaluation/batch_predictor.h"
#include "impls/evaluation/row_coder.h"
#include "zel/util/parallel.h"

namespace orvik::impls {

/// Threads: one.
class row_predictor {
 public:
  /// `t` and `predictor` must outlive this.
  row_predictor(const table& t, const row_coder::rules& how, const batch_predictor& predictor)
      : coder_(t, how), predictor_(predictor) {}

  row_coder& coder() { return coder_; }
  const row_coder& coder() const { return coder_; }

  void clear() { codes_.clear(); }
  /// Adds the coder's row to those to predict.
  void take_row() { codes_.insert(codes_.end(), coder_.codes().begin(), coder_.codes().end()); }
  /// The codes of row i of those taken.
  std::span<const std::uint32_t> codes_of(std::size_t i) const {
    return std::span(codes_).subspan(i * coder_.codes().size(), coder_.codes().size());
  }

  /// Predicts the `n` rows taken. @return their outcomes, valid until the next call.
  std::span<const outcome> predict(std::size_t n) {
    const std::size_t chunk = cases_at_once(n, predictor_.n_class_codes());
    outcomes_.resize(n);
    const std::size_t width = coder_.codes().size();
    for (std::size_t at = 0; at < n; at += chunk) {
      const std::size_t some = std::min(chunk, n - at);
      predictor_.predict({std::span(codes_).subspan(at * width, some * width), width},
                         std::span(outcomes_).subspan(at, some));
    }
    return outcomes_;
  }

 private:
  row_coder coder_;
  const batch_predictor& predictor_;
  std::vector<std::uint32_t> codes_;  // row by row
  std::vector<outcome> outcomes_;
};

/// A predictor for every worker, made when the worker first asks for it.
class row_predictors {
 public:
  row_predictors(const table& t, row_coder::rules how, const batch_predictor& predictor)
      : table_(t),
        how_(std::move(how)),
        predictor_(predictor),
        workers_(zel::util::parallel::n_slots()) {}

  /// That of the calling thread.
  row_predictor& own() {
    auto& worker = workers_[zel::util::parallel::slot()];
    if (!worker) worker = std::make_unique<row_predictor>(table_, how_, predictor_);
    return *worker;
  }

  /// The columns with values taken as unknown.
  unseen_values unseen() const {
    unseen_values found;
    for (unsigned long i = 0; i < table_.n_columns(); ++i) {
      unsigned long sum = 0;
      for (const auto& worker : workers_) sum += worker ? worker->coder().unseen()[i] : 0;
      if (sum > 0) found.emplace_back(table_.get_column(i).name(), sum);
    }
    return found;
  }

 private:
  const table& table_;
  row_coder::rules how_;
  const batch_predictor& predictor_;
  std::vector<std::unique_ptr<row_predictor>> workers_;  // by slot
};

}  // namespace orvik::impls
