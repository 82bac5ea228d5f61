// The trees of a model, a single one or many, and how they answer together.
//
// A single tree is kept as it was grown. The members of an ensemble are kept packed, and unpacked,
// one at a time, for whoever asks for a tree.
#pragma once

#include <memory>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "impls/evaluation/votes.h"
#include "impls/tables/table.h"
#include "impls/trees/decision_tree.h"
#include "impls/trees/packed_tree.h"
#include "orvik/growth.h"
#include "zel/adt/bitmap.h"
#include "zel/util/run_context.h"

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
  /// Of a member.
  struct about {
    unsigned long seed = 0;  // of its draws; without meaning in a single tree and after reading
    vote_t votes = 1;
  };

  ensemble() = default;
  /// Without trees yet.
  explicit ensemble(ensemble_kind kind, combination answer = combination::votes,
                    decision decides = {})
      : kind_(kind), answer_(answer), decides_(std::move(decides)) {}
  /// A deep copy; `t` has the classes of the trees, here and below.
  ensemble clone(const table& t) const;

  ensemble_kind kind() const { return kind_; }
  combination answer() const { return answer_; }
  /// How the shares or the votes of the trees become a class.
  const decision& decides() const { return decides_; }
  void set_answer(combination answer) { answer_ = answer; }
  void set_decision(decision how) { decides_ = std::move(how); }
  bool is_single() const { return kind_ == ensemble_kind::single; }
  bool draws_cases() const {
    return kind_ == ensemble_kind::bagging || kind_ == ensemble_kind::forest;
  }
  bool empty() const { return members_.empty(); }
  unsigned long n_trees() const { return members_.size(); }
  /// Tree i; of an ensemble unpacked for this call, else the one there is, which the ensemble must
  /// outlive. `complete` clear: the leaves that no case came to may be missing.
  std::shared_ptr<const decision_tree> tree(unsigned long i, bool complete = true) const;
  unsigned long seed(unsigned long i) const { return members_[i].seed; }
  vote_t votes(unsigned long i) const { return members_[i].votes; }
  void set_seed(unsigned long i, unsigned long seed) { members_[i].seed = seed; }
  /// In an ensemble the tree may lack leaves that no case came to.
  void add(const table& t, std::unique_ptr<decision_tree> tree, const about& how);
  /// Adds n trees that make(i) gives, packed or to be packed as soon as they are there, side by
  /// side on the workers of `run`; about(i) is what goes with them.
  template <class Make, class About>
  void add_side_by_side(const zel::util::run_context& run, const table& t, unsigned long n,
                        const Make& make, const About& about_of);
  /// The same, in an ensemble shared out in the team of `run`, and kept in its store.
  template <class Make, class About>
  void add_shared_out(const zel::util::run_context& run, const table& t, unsigned long n,
                      const Make& make, const About& about_of);
  /// Lets change(tree) change tree i; `complete` as above. Several may be changed side by side.
  template <class Change>
  void change(const table& t, unsigned long i, bool complete, const Change& change);

  // Answers; there must be trees. The rows are of a table with the codes of the training table.

  /// Whether trees answer together: an ensemble of one tree answers as that tree does.
  bool is_put_to_vote() const { return !is_single() && members_.size() > 1; }
  std::vector<voter> voters() const;
  /// Of a case given by its codes, by the tree, by votes or by mean shares. @return depths x
  /// weight, summed.
  double predict(const table& t, const std::vector<code_t>& codes,
                 decision_tree::prediction& result, double weight) const;
  /// The mean of what the trees say, by class code; `plain`, which may be null, receives it as it
  /// was before calibration.
  void predict_distribution(const table& t, const std::vector<code_t>& codes,
                            std::vector<double>& shares,
                            std::vector<double>* plain = nullptr) const;

  // Measures over the trees: sums, for the depth the largest, for the path length the mean.
  unsigned long size() const {
    return sum([](const auto& tree) { return tree.size(); });
  }
  unsigned long leaves() const {
    return sum([](const auto& tree) { return tree.leaves(); });
  }
  unsigned long depth() const;
  double epl() const;
  /// Which of n attributes a tree tests.
  zel::adt::bitmap used_attributes(unsigned long n) const;

 private:
  struct member : about {
    std::unique_ptr<decision_tree> tree;  // of a single tree
    std::optional<packed_tree> packed;    // of others

    /// Calls f with the tree in the form it has.
    template <class F>
    decltype(auto) visit(const F& f) const {
      return tree ? f(*tree) : f(*packed);
    }
  };

  member keep(const table& t, std::unique_ptr<decision_tree> tree, const about& how) const;
  /// Of an ensemble.
  static member keep(const table&, packed_tree tree, const about& how) {
    return {how, nullptr, std::move(tree)};
  }
  /// How trees are kept in a store: as in a model file, which is checked.
  static zel::util::kept_form form_of(const table& t);
  template <class Tree>
  void add_answer(const Tree& tree, const std::vector<code_t>& codes, vote_t votes,
                  std::span<double> sums) const;
  template <class Measure>
  unsigned long sum(const Measure& of) const {
    unsigned long all = 0;
    for (const member& m : members_) all += m.visit(of);
    return all;
  }
  vote_t n_votes() const {
    vote_t all = 0;
    for (const member& m : members_) all += m.votes;
    return all;
  }

  ensemble_kind kind_ = ensemble_kind::single;
  combination answer_ = combination::votes;
  decision decides_;
  std::vector<member> members_;
};

template <class Make, class About>
void ensemble::add_side_by_side(const zel::util::run_context& run, const table& t, unsigned long n,
                                const Make& make, const About& about_of) {
  const std::size_t first = members_.size();
  members_.resize(first + n);
  const auto made = [&](unsigned long i) { return keep(t, make(i), about_of(i)); };
  run.for_each_index(n, [&](unsigned long i) { members_[first + i] = made(i); });
}

template <class Make, class About>
void ensemble::add_shared_out(const zel::util::run_context& run, const table& t, unsigned long n,
                              const Make& make, const About& about_of) {
  if (is_single() || !zel::util::is_shared_out(run, /*with_store=*/true)) {
    return add_side_by_side(run, t, n, make, about_of);
  }
  const std::size_t first = members_.size();
  members_.resize(first + n);
  const zel::util::kept_form form = form_of(t);
  zel::util::share_out(
      run, n, run.n_slots(),
      [&](unsigned long i) { return keep(t, make(i), about_of(i)).packed->to_bytes(); },
      [&](unsigned long i, std::string_view bytes) {
        members_[first + i] = keep(t, packed_tree::of_bytes(t, bytes), about_of(i));
      },
      &form);
}

template <class Change>
void ensemble::change(const table& t, unsigned long i, bool complete, const Change& change) {
  member& m = members_[i];
  if (m.tree) return change(*m.tree);
  const std::unique_ptr<decision_tree> tree = m.packed->unpack(complete);
  change(*tree);
  m.packed.emplace(t, *tree);
}

}  // namespace orvik::impls
