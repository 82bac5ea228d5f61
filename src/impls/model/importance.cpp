// Attribute importance, by two measures.
//
// Gain: what the splits on the attribute really took off the class entropy of the training cases,
// read from the class weights of the nodes. The part of a case with an unknown value counts where
// it went.
//
// Permutation (Breiman, Random forests, 2001): the attribute's values are permuted among a tree's
// out-of-bag cases; what the tree's error on them rises by is what it owes to the attribute. Only
// cases whose prediction looks at the attribute are predicted again.
#include <algorithm>
#include <cassert>
#include <cstdint>
#include <limits>
#include <optional>
#include <utility>
#include <vector>

#include "impls/model/bootstrap.h"
#include "impls/model/dtree.h"
#include "impls/splitting/impurity.h"
#include "zel/adt/tree_walk.h"
#include "zel/util/side_by_side.h"

namespace orvik::impls {

namespace {

/// What one tree owes to one attribute that it tests.
struct share {
  unsigned long attribute;
  double gain;
  double permutation;
};

/// Class entropy of a node's cases, in bits, times their weight.
double info_of(const decision_node& node, unsigned long n_codes) {
  splitting::info_sum<double> sum;
  for (code_t c = 0; c < n_codes; ++c) sum.add(node.class_weight(c));
  return sum.value();
}

/// Bits that the root test of `tree` saves, times weight. No split adds any, rounding does.
double gain_of_split(const decision_tree& tree, unsigned long n_codes) {
  double gain = info_of(*tree.get_node(), n_codes);
  for (unsigned int i = 0; i < tree.get_no_childs(); ++i) {
    gain -= info_of(*tree.get_child(i)->get_node(), n_codes);
  }
  return std::max(gain, 0.0);
}

/// The attributes that the tree tests, in order, with their gains; permutations still 0.
std::vector<share> shares_of(const table& t, const decision_tree& root) {
  const unsigned long n_codes = t.n_class_codes();
  std::vector<double> gains(t.n_attributes());
  zel::adt::bitmap tested;
  tested.resize(t.n_attributes());
  zel::adt::walk(
      root,
      [&](const decision_tree& tree, unsigned long) {
        if (tree.get_no_childs() == 0) return false;
        const unsigned int attribute = tree.get_node()->attribute();
        gains[attribute] += gain_of_split(tree, n_codes);
        tested.set(attribute);
        return true;
      },
      [](const decision_tree&, unsigned long) {});
  std::vector<share> shares;
  for (const unsigned long a : tested) {
    shares.push_back({a, gains[a] / root.get_node()->weight(), 0});
  }
  return shares;
}

/// A tree's out-of-bag cases, and what the tree makes of them.
class out_of_bag {
 public:
  out_of_bag(const table& t, const decision_tree& tree, case_list cases)
      : t_(t), tree_(tree), cases_(std::move(cases)), asking_(t.n_attributes()) {
    zel::adt::bitmap asked;
    asked.resize(t.n_attributes());
    wrong_.reserve(cases_.size());
    for (unsigned long i = 0; i < cases_.size(); ++i) {
      asked.reset_all();
      decision_tree::prediction result;
      tree.predict_row_asking(t, cases_[i].first, result, asked);
      wrong_.push_back(is_wrong(i, result));
      for (const unsigned long a : asked) asking_[a].push_back(static_cast<std::uint32_t>(i));
      weight_ += cases_[i].second;
    }
  }

  /// How much the error rises when the codes of `attribute` are permuted.
  double rise(unsigned long attribute, unsigned long seed) const {
    const column& permuted = t_.column_of(attribute);
    std::vector<code_t> codes;
    codes.reserve(cases_.size());
    for (const auto& [row, weight] : cases_) codes.push_back(permuted.get_row_index(row));
    assert(attribute < asking_.size());
    shuffle(codes, seed);
    double rise = 0;
    for (const std::uint32_t i : asking_[attribute]) {
      const auto& [row, weight] = cases_[i];
      if (codes[i] == permuted.get_row_index(row)) continue;
      decision_tree::prediction result;
      tree_.predict_changed_row(t_, row, static_cast<unsigned int>(attribute), codes[i], result);
      rise += weight * (static_cast<int>(is_wrong(i, result)) - static_cast<int>(wrong_[i]));
    }
    return weight_ > 0 ? rise / weight_ : 0;
  }

 private:
  bool is_wrong(unsigned long i, const decision_tree::prediction& result) const {
    return result.first != t_.class_column().get_row_index(cases_[i].first);
  }

  /// Every order alike (Fisher and Yates).
  static void shuffle(std::vector<code_t>& codes, unsigned long seed) {
    zel::util::rand_gen draw(codes.size(), seed);
    for (unsigned long left = codes.size(); left > 1; --left) {
      std::swap(codes[left - 1], codes[draw.below(left)]);
    }
  }

  const table& t_;
  const decision_tree& tree_;
  case_list cases_;
  std::vector<bool> wrong_;                         // by case
  std::vector<std::vector<std::uint32_t>> asking_;  // by attribute: cases that look at it
  double weight_ = 0;
};

}  // namespace

std::vector<attribute_importance> dtree::importance(const table& t, bool permute) const {
  permute ? require_training_rows(t) : require_values_of(t);
  const bool draws = permute && has_draws();
  std::optional<case_draws> in_bag_of;
  if (draws) in_bag_of.emplace(draws_on(t));
  const auto shares_of_tree = [&](unsigned long i) {
    const std::shared_ptr<const decision_tree> tree = trees_.tree(i);
    std::vector<share> shares = shares_of(t, *tree);
    if (!draws || shares.empty()) return shares;
    const zel::adt::bitmap drawn = in_bag_of->in_bag(trees_.seed(i));
    case_list others;
    for (unsigned long c = 0; c < cases_.size(); ++c) {
      if (!drawn[c]) others.push_back(cases_[c]);
    }
    const out_of_bag cases(t, *tree, std::move(others));
    for (share& s : shares) {
      using zel::util::draw;
      run_->require_not_cancelled();
      s.permutation = cases.rise(
          s.attribute, run_->seeds().at(draw::permutation, {trees_.seed(i), s.attribute}));
    }
    return shares;
  };
  std::vector<std::vector<share>> by_tree(trees_.n_trees());
  run_->with_workers([&] { zel::util::make_side_by_side(*run_, by_tree, shares_of_tree); });

  const double none = draws ? 0 : std::numeric_limits<double>::quiet_NaN();
  const auto n = static_cast<double>(trees_.n_trees());
  std::vector<attribute_importance> all;
  for (unsigned long a = 0; a < t.n_attributes(); ++a) {
    all.push_back({a, t.column_of(a).name(), 0, none});
  }
  for (const auto& shares : by_tree) {  // in tree order: the sums do not hang on the workers
    for (const share& s : shares) {
      all[s.attribute].gain += s.gain / n;
      all[s.attribute].permutation += s.permutation / n;
    }
  }
  const zel::adt::bitmap usable = attributes_ ? *attributes_ : default_features(t);
  std::erase_if(all, [&](const attribute_importance& each) { return !usable[each.attribute]; });
  std::ranges::stable_sort(all, std::ranges::greater(), &attribute_importance::gain);
  return all;
}

}  // namespace orvik::impls
