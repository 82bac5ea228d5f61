#include "impls/model/ensemble.h"

#include <algorithm>
#include <cassert>

namespace orvik::impls {

ensemble ensemble::clone(const table& t) const {
  ensemble copy(kind_, answer_);
  for (const auto& [tree, seed, votes] : members_) {
    copy.add({std::unique_ptr<decision_tree>(tree->clone(t, nullptr)), seed, votes});
  }
  return copy;
}

std::vector<voter> ensemble::voters() const {
  std::vector<voter> all;
  for (const member& m : members_) all.push_back({m.tree.get(), m.votes});
  return all;
}

/// `predict(tree, result)` gives a tree's prediction and its weighted depth, `add_shares(tree,
/// votes, sums)` adds its shares of the classes.
template <class Predict, class AddShares>
double ensemble::ask(const table& t, decision_tree::prediction& result, const Predict& predict,
                     const AddShares& add_shares) const {
  assert(!empty());
  if (!is_put_to_vote()) return predict(*members_[0].tree, result);
  vote_count votes;
  votes.start(1, t.n_class_codes());
  double depths = 0;
  for (const member& m : members_) {
    depths += predict(*m.tree, result);
    if (answer_ == combination::votes) {
      votes.add(0, result.first, m.votes);
    } else {
      add_shares(*m.tree, m.votes, votes.of_case(0));
    }
  }
  const vote_count::verdict found = votes.decide(0);
  result = {found.predicted, found.share_of(n_votes())};
  return depths;
}

double ensemble::predict(const table& t, const std::vector<code_t>& codes,
                         decision_tree::prediction& result, double weight) const {
  return ask(
      t, result,
      [&](const decision_tree& tree, decision_tree::prediction& r) {
        return tree.predict_class(t, codes, r, weight, 0);
      },
      [&](const decision_tree& tree, vote_t votes, std::span<double> sums) {
        tree.add_shares(codes, votes, sums);
      });
}

double ensemble::predict_row(const table& t, row_t row, decision_tree::prediction& result,
                             double weight) const {
  return ask(
      t, result,
      [&](const decision_tree& tree, decision_tree::prediction& r) {
        return tree.predict_row(t, row, r, weight);
      },
      [&](const decision_tree& tree, vote_t votes, std::span<double> sums) {
        tree.add_row_shares(t, row, votes, sums);
      });
}

void ensemble::predict_distribution(const table& t, const std::vector<code_t>& codes,
                                    std::vector<double>& shares) const {
  assert(!empty());
  shares.assign(t.n_class_codes(), 0.0);
  for (const member& m : members_) {
    if (is_put_to_vote() && answer_ == combination::shares) {
      m.tree->add_shares(codes, m.votes, shares);  // what they answer by
    } else {
      m.tree->add_probabilities(codes, m.votes, shares);
    }
  }
  const vote_t all = n_votes();
  for (double& share : shares) share /= all;
}

unsigned long ensemble::depth() const {
  unsigned long deepest = 0;
  for (const member& m : members_) deepest = std::max(deepest, m.tree->depth());
  return deepest;
}

double ensemble::epl() const {
  const unsigned long all = sum([](const member& m) { return m.tree->epl(0); });
  return empty() ? 0.0 : static_cast<double>(all) / static_cast<double>(n_trees());
}

zel::adt::bitmap ensemble::used_attributes(unsigned long n) const {
  zel::adt::bitmap used;
  used.resize(n);
  for (const member& m : members_) m.tree->set_used_atts(used);
  return used;
}

}  // namespace orvik::impls
