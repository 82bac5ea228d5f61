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

/// Those of the classes of a row, by code, and what they were before calibration: none where there
/// is no calibration, and none of both where they were not asked for.
struct row_shares {
  std::span<const double> all, plain;
  std::span<const double> before_calibration() const { return plain.empty() ? all : plain; }
};

/// From so many trees on, cases are worth being shared out among processes: predictions by fewer
/// take no longer than telling them.
inline constexpr std::size_t k_many_trees = 8;

/// Some cases of a list, next to each other.
using case_span = std::span<const case_list::value_type>;

/// How many cases to predict at once by many trees: the more, the fewer the times that a tree comes
/// into the cache; but their votes should not leave it for long.
std::size_t cases_at_once(std::size_t n_class_codes);
/// The same of `n` cases that all workers should have some of.
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
  /// The attributes that any tree asks for, ascending.
  const std::vector<unsigned long>& attributes() const { return asked_; }
  /// From now on cases have the codes of attributes() alone, in that order: limits() and
  /// predict_rows() are not for that.
  void take_asked_alone();
  std::size_t n_class_codes() const { return n_class_codes_; }
  std::size_t n_trees() const { return trees_.size(); }

  /// Rows of a table with the codes of the training table. Depths are for a weight of 1, of
  /// several trees their sum.
  void predict_rows(const table& t, case_span cases, std::span<outcome> outcomes) const;
  /// The same, reading cells of these rows and of tested attributes only: no mapped column is
  /// looked through as a whole. Throws std::runtime_error for a code without a value.
  void predict_few_rows(const table& t, case_span cases, std::span<outcome> outcomes) const;
  /// Cases by their codes. `shares`, where not empty, receives those of the classes, what
  /// ensemble::predict_distribution gives, by case, then by class code; `plain`, where not empty,
  /// what they were before calibration: only where calibrates().
  /// Depths of many trees are only told with `with_depths`, else 0.
  void predict(const case_block& cases, std::span<outcome> outcomes, std::span<double> shares = {},
               std::span<double> plain = {}, bool with_depths = false) const;
  /// Whether the shares are calibrated; then trees answer by mean shares.
  bool calibrates() const { return decides_.calibrates(); }
  /// Writes what the classes of the cases are decided by, laid out alike: the shares of a tree, the
  /// parts of the votes or the mean shares.
  /// Throws where `run` is cancelled: it is asked before every tree.
  void judge(const case_block& cases, std::span<double> said,
             const zel::util::run_context& run) const;

 private:
  struct sorted_cases {
    std::vector<std::uint32_t> complete, others;
    case_numbers numbers() const { return {complete, others}; }
  };
  sorted_cases sort(const case_block& cases, std::size_t n) const;
  void add_probabilities(const case_block& cases, std::size_t n, std::span<double> shares) const;
  void predict_one(const case_block& cases, std::span<outcome> outcomes) const;
  void predict_together(const case_block& cases, std::span<outcome> outcomes, vote_count& votes,
                        std::span<double> plain, const zel::util::run_context& run,
                        bool with_depths) const;
  void share_out(vote_count& votes, std::span<double> shares) const;
  struct asked;
  template <class Reached>
  void ask(const asked& one, const Reached& reached) const;

  zel::util::run_context& run_;
  unsigned long n_class_codes_;
  unsigned long n_attributes_;
  decision decides_;
  std::vector<unsigned long> asked_;   // attributes, by any tree
  std::vector<unsigned long> places_;  // where a case has the codes of these
  answer how_;
  std::vector<flat_tree> trees_;
  std::vector<vote_t> votes_;  // by tree
  vote_t all_votes_ = 0;
};

}  // namespace orvik::impls
