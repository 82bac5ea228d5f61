// Predicts many cases with one tree, or by the votes of several.
#pragma once

#include <memory>
#include <span>
#include <vector>

#include "impls/evaluation/flat_tree.h"
#include "impls/evaluation/votes.h"
#include "zel/util/default_context.h"

namespace orvik::impls {

/// A predicted class, how sure it is, and the depth reached times the case's weight.
struct outcome {
  code_t predicted;
  double confidence;
  double depth;
};

/// Some cases of a list, next to each other.
using case_span = std::span<const case_list::value_type>;

/// Of `n` cases, how many to predict at once by many trees: the more, the fewer the times that a
/// tree comes into the cache; but all workers should have some, and their votes fit in the cache.
std::size_t cases_at_once(std::size_t n, std::size_t n_class_codes,
                          const zel::util::run_context& run);

/// Threads: many readers.
class batch_predictor {
 public:
  /// How the trees answer: one by itself, many by votes or by mean shares.
  enum class answer : unsigned char { of_one, votes, shares };
  /// The confidence is the tree's, the share of the votes or the mean share. Uses the workers of
  /// `run`, which must outlive this. By a decision that is not plain, one tree answers by shares.
  batch_predictor(const table& t, const std::vector<voter>& trees, answer how,
                  zel::util::run_context& run, const decision& decides = {});

  zel::util::run_context& run() const { return run_; }

  /// By attribute, ascending: the codes that tests compare with. Codes between two of them need
  /// not be told apart.
  std::vector<std::vector<code_t>> limits() const;
  std::size_t n_class_codes() const { return n_class_codes_; }

  /// Rows of a table with the codes of the training table. Depths are for a weight of 1, of
  /// several trees their sum.
  void predict_rows(const table& t, case_span cases, std::span<outcome> outcomes) const;
  /// Cases by their codes. `means`, where not empty, receives the mean shares by case, then by
  /// class code: only where the trees answer by them.
  void predict(const case_block& cases, std::span<outcome> outcomes, std::span<double> means = {},
               std::span<double> plain = {}) const;
  /// Whether the shares are calibrated; `plain` above are they before that.
  bool calibrates() const { return decides_.calibrates(); }
  /// Whether the trees answer by mean shares.
  bool answers_shares() const { return how_ == answer::shares; }

 private:
  void predict_one(const flat_tree& tree, const case_block& cases,
                   std::span<outcome> outcomes) const;
  void predict_together(const case_block& cases, std::span<outcome> outcomes,
                        std::span<double> means, std::span<double> plain) const;
  void decide_by_shares(vote_count& votes, std::span<outcome> outcomes, std::span<double> means,
                        std::span<double> plain) const;
  void add_votes(std::size_t tree, const case_block& cases, std::span<outcome> outcomes,
                 vote_count& votes) const;
  void add_shares(std::size_t tree, const case_block& cases, std::span<outcome> outcomes,
                  vote_count& votes) const;

  zel::util::run_context& run_;
  unsigned long n_class_codes_;
  unsigned long n_attributes_;
  decision decides_;
  answer how_;
  std::vector<flat_tree> trees_;
  std::vector<vote_t> votes_;  // by tree
  vote_t all_votes_ = 0;
};

}  // namespace orvik::impls
