// One worker's part in predicting a text of rows: the rows of a block into codes, the codes into
// outcomes.
#pragma once

#include <algorithm>
#include <memory>
#include <span>

#include "impls/evaluation/batch_coder.h"
#include "impls/evaluation/batch_predictor.h"
#include "zel/util/run_context.h"

namespace orvik::impls {

/// Threads: one.
class row_predictor {
 public:
  /// All must outlive this.
  row_predictor(const table& t, const row_coder::rules& how, const coded_columns& columns,
                const batch_predictor& predictor)
      : coder_(t, how, columns), width_(t.n_attributes()), predictor_(predictor) {}

  batch_coder& coder() { return coder_; }
  const batch_coder& coder() const { return coder_; }

  /// The codes of row i of those taken.
  std::span<const std::uint32_t> codes_of(std::size_t i) const {
    return coder_.codes().subspan(i * width_, width_);
  }

  /// Predicts the rows that the coder has taken, with their mean shares where these are asked for
  /// and the trees answer by them. @return their outcomes, valid until the next call.
  std::span<const outcome> predict(bool with_means = false) {
    const std::size_t n = coder_.size(), n_codes = predictor_.n_class_codes();
    const std::size_t chunk = cases_at_once(n, n_codes, predictor_.run());
    const std::size_t kept = with_means && predictor_.answers_shares() ? n_codes : 0;
    outcomes_.resize(n);
    means_.resize(n * kept);
    plain_.resize(predictor_.calibrates() ? n * kept : 0);
    for (std::size_t at = 0; at < n; at += chunk) {
      const std::size_t some = std::min(chunk, n - at);
      predictor_.predict(
          {coder_.codes().subspan(at * width_, some * width_), width_},
          std::span(outcomes_).subspan(at, some), std::span(means_).subspan(at * kept, some * kept),
          plain_.empty() ? std::span<double>() : std::span(plain_).subspan(at * kept, some * kept));
    }
    return outcomes_;
  }
  /// The mean shares of row i, by class code; empty where predict() gave none.
  std::span<const double> means_of(std::size_t i) const { return of_row(means_, i); }
  /// The same before they were calibrated; empty also where they are not.
  std::span<const double> plain_of(std::size_t i) const { return of_row(plain_, i); }

 private:
  std::span<const double> of_row(const std::vector<double>& all, std::size_t i) const {
    const std::size_t kept = outcomes_.empty() ? 0 : all.size() / outcomes_.size();
    return std::span(all).subspan(i * kept, kept);
  }

  batch_coder coder_;
  std::size_t width_;
  const batch_predictor& predictor_;
  std::vector<outcome> outcomes_;
  std::vector<double> means_, plain_;
};

/// A predictor for every worker, made when the worker first asks for it.
class row_predictors {
 public:
  row_predictors(const table& t, row_coder::rules how, const batch_predictor& predictor)
      : table_(t),
        how_(std::move(how)),
        columns_(t, predictor.limits()),
        predictor_(predictor),
        workers_(predictor.run().n_slots()) {}

  /// That of the calling thread.
  row_predictor& own() {
    auto& worker = workers_[predictor_.run().slot()];
    if (!worker) worker = std::make_unique<row_predictor>(table_, how_, columns_, predictor_);
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
  coded_columns columns_;
  const batch_predictor& predictor_;
  std::vector<std::unique_ptr<row_predictor>> workers_;  // by slot
};

}  // namespace orvik::impls
