// One worker's part in predicting a text of rows: the rows of a block into codes, the codes into
// outcomes.
#pragma once

#include <algorithm>
#include <memory>
#include <span>
#include <string>
#include <string_view>
#include <vector>

#include "impls/evaluation/batch_coder.h"
#include "impls/evaluation/batch_predictor.h"
#include "zel/util/run_context.h"
#include "zel/util/team.h"

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

  /// Predicts the rows that the coder has taken, some at a time, and calls take(i, outcome, shares)
  /// for each, in order: of the shares of the classes by code there are none unless asked for.
  template <class Take>
  void predict(bool with_shares, const Take& take) {
    const std::size_t n = coder_.size(), n_codes = predictor_.n_class_codes();
    const std::size_t chunk = cases_at_once(n_codes);
    const std::size_t kept = with_shares ? n_codes : 0;
    const std::size_t kept_plain = predictor_.calibrates() ? kept : 0;
    for (std::size_t at = 0; at < n; at += chunk) {
      const std::size_t some = std::min(chunk, n - at);
      outcomes_.resize(some);
      shares_.resize(some * kept);
      plain_.resize(some * kept_plain);
      predictor_.predict({coder_.codes().subspan(at * width_, some * width_), width_}, outcomes_,
                         shares_, plain_);
      for (std::size_t i = 0; i < some; ++i) {
        take(at + i, outcomes_[i],
             row_shares{std::span<const double>(shares_).subspan(i * kept, kept),
                        std::span<const double>(plain_).subspan(i * kept_plain, kept_plain)});
      }
    }
  }

 private:
  batch_coder coder_;
  std::size_t width_;
  const batch_predictor& predictor_;
  std::vector<outcome> outcomes_;
  std::vector<double> shares_, plain_;
};

/// Adds up, by column, the values that were taken as unknown.
inline void add_unseen(const batch_coder& coder, std::vector<unsigned long>& counts) {
  for (std::size_t i = 0; i < counts.size(); ++i) counts[i] += coder.unseen()[i];
}

/// The columns with such values, counted by all processes of a run; `counts` are those of this one.
inline unseen_values unseen_of_all(const zel::util::run_context& run, const table& t,
                                   const std::vector<unsigned long>& counts) {
  std::vector<std::string> told{zel::util::bytes_of_items(counts)};
  if (run.companions != nullptr) told = run.companions->exchange(told[0]);
  std::vector<unsigned long> sums(counts.size());
  for (std::string_view bytes : told) {
    const auto some = zel::util::take_items<unsigned long>(bytes);
    for (std::size_t i = 0; i < sums.size(); ++i) sums[i] += some.at(i);
  }
  unseen_values found;
  for (unsigned long i = 0; i < sums.size(); ++i) {
    if (sums[i] > 0) found.emplace_back(t.get_column(i).name(), sums[i]);
  }
  return found;
}

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

  /// The columns with values taken as unknown, by all processes.
  unseen_values unseen_by_all() const {
    std::vector<unsigned long> counts(table_.n_columns());
    for (const auto& worker : workers_) {
      if (worker) add_unseen(worker->coder(), counts);
    }
    return unseen_of_all(predictor_.run(), table_, counts);
  }

 private:
  const table& table_;
  row_coder::rules how_;
  coded_columns columns_;
  const batch_predictor& predictor_;
  std::vector<std::unique_ptr<row_predictor>> workers_;  // by slot
};

}  // namespace orvik::impls
