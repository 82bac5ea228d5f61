// The trees of a model, a single one or many, and how they answer together.
#pragma once

#include <memory>
#include <vector>

#include "impls/evaluation/votes.h"
#include "impls/tables/table.h"
#include "impls/trees/decision_tree.h"
#include "orvik/growth.h"
#include "zel/adt/bitmap.h"

namespace orvik::impls {

/// How many trees a model has and what their nodes measure.
enum class ensemble_kind : unsigned char {
  single,   ///< one tree on the cases themselves
  bagging,  ///< trees on draws of the cases (Breiman 1996)
  forest,   ///< the same, and a node measures random attributes (Breiman 2001)
  boosting  ///< trees on reweighted cases, one after another (Freund and Schapire 1996)
};

/// Threads: many readers or one writer.
class ensemble {
 public:
  struct member {
    std::unique_ptr<decision_tree> tree;
    unsigned long seed = 0;  // of its draws; without meaning in a single tree and after reading
    vote_t votes = 1;
  };

  ensemble() = default;
  /// Without trees yet.
  explicit ensemble(ensemble_kind kind, combination answer = combination::votes)
      : kind_(kind), answer_(answer) {}
  /// A deep copy; `t` has the classes of the trees.
  ensemble clone(const table& t) const;

  ensemble_kind kind() const { return kind_; }
  combination answer() const { return answer_; }
  bool is_single() const { return kind_ == ensemble_kind::single; }
  bool draws_cases() const {
    return kind_ == ensemble_kind::bagging || kind_ == ensemble_kind::forest;
  }
  bool empty() const { return members_.empty(); }
  unsigned long n_trees() const { return members_.size(); }
  const decision_tree& tree(unsigned long i) const { return *members_[i].tree; }
  decision_tree& tree(unsigned long i) { return *members_[i].tree; }
  unsigned long seed(unsigned long i) const { return members_[i].seed; }
  vote_t votes(unsigned long i) const { return members_[i].votes; }
  void set_seed(unsigned long i, unsigned long seed) { members_[i].seed = seed; }
  void add(member next) { members_.push_back(std::move(next)); }

  // Answers; there must be trees. The rows are of a table with the codes of the training table.

  /// Whether trees answer together: an ensemble of one tree answers as that tree does.
  bool is_put_to_vote() const { return !is_single() && members_.size() > 1; }
  std::vector<voter> voters() const;
  /// Of a case given by its codes, by the tree, by votes or by mean shares. @return depths x
  /// weight, summed.
  double predict(const table& t, const std::vector<code_t>& codes,
                 decision_tree::prediction& result, double weight) const;
  double predict_row(const table& t, row_t row, decision_tree::prediction& result,
                     double weight) const;
  /// The mean of what the trees say, by class code.
  void predict_distribution(const table& t, const std::vector<code_t>& codes,
                            std::vector<double>& shares) const;

  // Measures over the trees: sums, for the depth the largest, for the path length the mean.
  unsigned long size() const {
    return sum([](const member& m) { return m.tree->size(); });
  }
  unsigned long leaves() const {
    return sum([](const member& m) { return m.tree->leaves(); });
  }
  unsigned long depth() const;
  double epl() const;
  /// Which of n attributes a tree tests.
  zel::adt::bitmap used_attributes(unsigned long n) const;

 private:
  template <class Predict, class AddShares>
  double ask(const table& t, decision_tree::prediction& result, const Predict& predict,
             const AddShares& add_shares) const;
  template <class Measure>
  unsigned long sum(const Measure& of) const {
    unsigned long all = 0;
    for (const member& m : members_) all += of(m);
    return all;
  }
  vote_t n_votes() const {
    vote_t all = 0;
    for (const member& m : members_) all += m.votes;
    return all;
  }

  ensemble_kind kind_ = ensemble_kind::single;
  combination answer_ = combination::votes;
  std::vector<member> members_;
};

}  // namespace orvik::impls
