// Out-of-bag error: every training case is classified by the trees that did not draw it
// (Breiman, Out-of-bag estimation, 1996), an estimate of the error on new cases for the price of
// one pass over the training cases.
//
// A task takes a chunk of cases through one tree after the other: a tree stays in the cache while
// it is used.
#include <algorithm>
#include <cassert>
#include <cstdint>
#include <limits>
#include <memory>
#include <optional>
#include <span>
#include <stdexcept>
#include <vector>

#include "impls/evaluation/flat_tree.h"
#include "impls/model/bootstrap.h"
#include "impls/model/dtree.h"
#include "impls/model/row_judge.h"
#include "zel/util/blocks.h"
#include "zel/util/side_by_side.h"

namespace orvik::impls {

namespace {

/// Weights by the number of trees, from one tree on.
struct voted_weights {
  std::vector<double> voted, wrong;
};
auto items_of(voted_weights& sums) { return std::tie(sums.voted, sums.wrong); }

constexpr char k_without_training_cases[] = "the table does not hold the training cases";

constexpr std::uint32_t k_no_vote = std::numeric_limits<std::uint32_t>::max();

/// Cases a task takes: many, as a tree has to come into the cache for each task, but no more than
/// their votes fit in there. It does not hang on the workers, as sums by chunk must not.
unsigned long chunk_size(unsigned long n_codes) {
  constexpr unsigned long k_most_cases = 1UL << 11, k_counters = 1UL << 16;
  return std::clamp(k_counters / n_codes, 1UL, k_most_cases);
}

struct voting_tree {
  zel::adt::bitmap in_bag;  // by position in the list of training cases
  flat_tree tree;
  vote_t votes;
};

/// Cases that follow each other in the list of training cases, the first at position `first`.
struct chunk {
  unsigned long first;
  case_list cases;
};

struct ballot {
  std::vector<std::optional<voting_tree>> trees;
  combination answer;
  const decision& decides;
};

/// Counts the votes of one tree after the other for the cases of the chunk; after each calls
/// after(tree, its cases, votes), the votes case by case. `likely`, where not empty, receives the
/// sums of their shares, by case, then by class code.
template <class After>
void vote(const table& t, const ballot& asked, const chunk& some, std::span<double> likely,
          const After& after) {
  const auto& trees = asked.trees;
  vote_count votes;
  votes.start(some.cases.size(), t.n_class_codes());
  std::vector<std::uint32_t> codes;
  gather_codes(t, some.cases, codes);
  const case_block block{codes, t.n_attributes()};
  std::vector<std::uint32_t> out_of_bag;
  for (std::size_t i = 0; i < trees.size(); ++i) {
    out_of_bag.clear();
    for (std::uint32_t c = 0; c < some.cases.size(); ++c) {
      if (!trees[i]->in_bag[some.first + c]) out_of_bag.push_back(c);
    }
    const case_numbers asked_cases{{}, out_of_bag};
    assert(block.size() == some.cases.size() || t.n_attributes() == 0);
    const auto count = [&](std::size_t c, const decision_tree::prediction& found, double) {
      votes.add(c, found.first, trees[i]->votes);
    };
    if (asked.answer == combination::votes) {
      trees[i]->tree.predict(block, asked_cases, count);
    } else {
      trees[i]->tree.add_shares(block, asked_cases, votes.all(), [](auto, const auto&) {});
    }
    if (!likely.empty()) {
      trees[i]->tree.add_probabilities(block, asked_cases, likely);
    }
    after(i, std::span<const std::uint32_t>(out_of_bag), votes);
  }
}

/// `shares` is memory for those of a case.
std::uint32_t winner(const decision& decides, const vote_count& votes, std::size_t c,
                     std::vector<double>& shares) {
  if (!decides.is_plain()) {
    if (!votes.shares_of(c, shares)) return k_no_vote;
    decides.adjust(shares);
    return static_cast<std::uint32_t>(decides.decide(shares));
  }
  const vote_count::verdict found = votes.decide(c);
  return found.votes == 0 ? k_no_vote : static_cast<std::uint32_t>(found.predicted);
}

/// What make(chunk) gives for all cases, chunk by chunk.
template <class Cases, class Make>
auto make_by_chunk(const zel::util::run_context& run, const Cases& cases, unsigned long n_codes,
                   const Make& make) {
  const zel::util::blocks chunks(cases.size(), chunk_size(n_codes));
  std::vector<decltype(make(chunk{}))> parts(chunks.count());
  zel::util::make_side_by_side(run, parts, [&](unsigned long number) {
    const auto [first, size] = chunks[number];
    chunk some{first, {}};
    for (unsigned long i = first; i < first + size; ++i) some.cases.push_back(cases[i]);
    return make(some);
  });
  return parts;
}

ballot make_ballot(const zel::util::run_context& run, const table& t, const ensemble& trees,
                   const case_draws& draws) {
  const std::vector<voter> asked = trees.voters();
  const bool alone = !trees.is_put_to_vote() && !trees.decides().is_plain();
  ballot voters{{}, alone ? combination::shares : trees.answer(), trees.decides()};
  const leaf_rule rule = voters.decides.leaves(alone);
  voters.trees.resize(asked.size());
  run.for_each_index(asked.size(), [&](unsigned long i) {
    voters.trees[i].emplace(
        voting_tree{draws.in_bag(trees.seed(i)), flat_tree(t, asked[i], rule), asked[i].votes});
  });
  return voters;
}

/// Judges the cases of a chunk by the trees that did not draw them.
class bag_judge {
 public:
  /// All must outlive this. Without `with_shares` rows have none.
  bag_judge(const table& t, const ballot& asked, bool with_shares)
      : t_(t), asked_(asked), with_shares_(with_shares) {}

  /// Appends the cases that have such a tree.
  void judge(const chunk& some, judged_rows& rows) const {
    const std::size_t k = t_.n_class_codes();
    const bool beside = with_shares_ && asked_.answer == combination::votes;
    std::vector<double> likely(beside ? some.cases.size() * k : 0);
    vote(t_, asked_, some, likely, [&](std::size_t tree, auto, vote_count& votes) {
      if (tree + 1 < asked_.trees.size()) return;
      std::vector<double> shares;
      for (std::size_t c = 0; c < some.cases.size(); ++c) {
        const std::uint32_t predicted = winner(asked_.decides, votes, c, shares);
        if (predicted == k_no_vote) continue;
        const auto& [row, weight] = some.cases[c];
        rows.actual.push_back(t_.class_column().get_row_index(row));
        rows.predicted.push_back(predicted);
        rows.weights.push_back(weight);
        const std::span<const double> sums =
            beside ? std::span(likely).subspan(c * k, k) : votes.of_case(c);
        if (with_shares_) add_shares(some.first + c, sums, rows);
      }
    });
  }

 private:
  /// As ensemble::predict_distribution() of those trees, of which these are the sums.
  void add_shares(unsigned long position, std::span<const double> sums, judged_rows& to) const {
    vote_t all = 0;
    for (const auto& tree : asked_.trees) {
      if (!tree->in_bag[position]) all += tree->votes;
    }
    std::vector<double> shares(sums.begin(), sums.end());
    for (double& share : shares) share /= all;
    if (asked_.decides.calibrates()) to.plain.insert(to.plain.end(), shares.begin(), shares.end());
    asked_.decides.adjust(shares);
    to.shares.insert(to.shares.end(), shares.begin(), shares.end());
  }

  const table& t_;
  const ballot& asked_;
  bool with_shares_;
};

/// What the cases of a chunk add. Only where a tree votes can a winner change.
voted_weights follow(const table& t, const ballot& trees, const chunk& some) {
  const std::size_t n_trees = trees.trees.size();
  voted_weights sums{std::vector<double>(n_trees), std::vector<double>(n_trees)};
  std::vector<std::uint32_t> winners(some.cases.size(), k_no_vote);
  std::vector<double> shares;
  double voted = 0, wrong = 0;
  const auto is_wrong = [&](std::uint32_t c) {
    return winners[c] != t.class_column().get_row_index(some.cases[c].first);
  };
  vote(t, trees, some, {}, [&](std::size_t tree, auto asked, const vote_count& votes) {
    for (const std::uint32_t c : asked) {
      const double weight = some.cases[c].second;
      if (winners[c] == k_no_vote) {
        voted += weight;
      } else if (is_wrong(c)) {
        wrong -= weight;
      }
      winners[c] = winner(trees.decides, votes, c, shares);
      if (is_wrong(c)) wrong += weight;
    }
    sums.voted[tree] = voted;
    sums.wrong[tree] = wrong;
  });
  return sums;
}

}  // namespace

bool dtree::has_draws() const { return trees_.draws_cases() && !cases_.empty(); }

void dtree::require_training_rows(const table& t) const {
  require_values_of(t);
  bool held = true;
  for (unsigned long i = 0; held && i < cases_.size(); ++i) held = cases_[i].first < t.n_rows();
  if (!held) throw std::runtime_error(k_without_training_cases);
}

double dtree::oob_error(const table& t) const {
  require_training_rows(t);
  if (!has_draws()) return std::numeric_limits<double>::quiet_NaN();
  const auto winners_of = [&](const ballot& trees, const chunk& some) {
    std::vector<std::uint32_t> winners(some.cases.size());
    vote(t, trees, some, {}, [&](std::size_t tree, auto, const vote_count& votes) {
      if (tree + 1 < trees.trees.size()) return;
      std::vector<double> shares;
      for (std::size_t c = 0; c < winners.size(); ++c) {
        winners[c] = winner(trees.decides, votes, c, shares);
      }
    });
    return winners;
  };
  const auto parts = run_->with_workers([&] {
    const ballot trees = make_ballot(*run_, t, trees_, draws_on(t));
    return make_by_chunk(*run_, cases_, t.n_class_codes(),
                         [&](const chunk& some) { return winners_of(trees, some); });
  });

  double voted = 0, wrong = 0;
  unsigned long i = 0;
  for (const std::vector<std::uint32_t>& part : parts) {
    for (const std::uint32_t won : part) {  // in list order: the sums do not hang on the chunks
      const auto [row, weight] = cases_[i++];
      if (won == k_no_vote) continue;
      voted += weight;
      if (won != t.class_column().get_row_index(row)) wrong += weight;
    }
  }
  assert(i == cases_.size());
  return voted > 0 ? wrong / voted : std::numeric_limits<double>::quiet_NaN();
}

std::vector<double> dtree::oob_errors(const table& t) const {
  require_training_rows(t);
  if (!has_draws()) return {};
  const std::size_t n_trees = trees_.n_trees();
  const auto by_chunk = run_->with_workers([&] {
    const ballot trees = make_ballot(*run_, t, trees_, draws_on(t));
    return make_by_chunk(*run_, cases_, t.n_class_codes(),
                         [&](const chunk& some) { return follow(t, trees, some); });
  });

  std::vector<double> errors;
  for (std::size_t i = 0; i < n_trees; ++i) {
    double voted = 0, wrong = 0;
    for (const voted_weights& sums : by_chunk) {
      voted += sums.voted[i];
      wrong += sums.wrong[i];
    }
    errors.push_back(voted > 0 ? wrong / voted : std::numeric_limits<double>::quiet_NaN());
  }
  return errors;
}

judged_rows dtree::oob_rows(const table& t) const {
  require_training_rows(t);
  judged_rows all;
  all.classes = class_names();
  if (!has_draws()) return all;
  std::vector<judged_rows> parts = run_->with_workers([&] {
    const ballot trees = make_ballot(*run_, t, trees_, draws_on(t));
    const bag_judge judge(t, trees, all.classes.size() <= k_most_judged_classes);
    return make_by_chunk(*run_, cases_, t.n_class_codes(), [&](const chunk& some) {
      judged_rows rows;
      judge.judge(some, rows);
      return rows;
    });
  });
  for (judged_rows& part : parts) {
    part.classes = all.classes;
    append(all, part);
    part = {};  // the rows are not kept twice
  }
  return all;
}

}  // namespace orvik::impls
