#include "impls/evaluation/batch_predictor.h"

#include <algorithm>
#include <cassert>
#include <numeric>
#include <optional>

#include "zel/util/run_context.h"

namespace orvik::impls {

std::size_t cases_at_once(std::size_t n, std::size_t n_class_codes,
                          const zel::util::run_context& run) {
  constexpr std::size_t k_least = 1U << 9, k_most = 1U << 12, k_counters = 1U << 16;
  const std::size_t shared = std::clamp(n / (4 * run.n_slots()), k_least, k_most);
  return std::clamp<std::size_t>(k_counters / n_class_codes, 1, shared);
}

batch_predictor::batch_predictor(const table& t, const std::vector<voter>& trees, answer how,
                                 zel::util::run_context& run, const decision& decides)
    : run_(run),
      n_class_codes_(t.n_class_codes()),
      n_attributes_(t.n_attributes()),
      decides_(decides),
      how_(how == answer::of_one && !decides.is_plain() ? answer::shares : how) {
  assert(how == answer::of_one ? trees.size() == 1 : !trees.empty());
  flat_tree::require_narrow(t);
  std::vector<std::optional<flat_tree>> flat(trees.size());
  const leaf_rule rule = decides_.leaves(/*alone=*/how == answer::of_one);
  run.for_each_index(trees.size(), [&](unsigned long i) { flat[i].emplace(t, trees[i], rule); });
  trees_.reserve(trees.size());
  for (std::optional<flat_tree>& tree : flat) trees_.push_back(std::move(*tree));
  for (const voter& each : trees) {
    votes_.push_back(each.votes);
    all_votes_ += each.votes;
  }
}

std::vector<std::vector<code_t>> batch_predictor::limits() const {
  std::vector<std::vector<code_t>> by_attribute(n_attributes_);
  for (const flat_tree& tree : trees_) tree.add_limits(by_attribute);
  for (std::vector<code_t>& codes : by_attribute) {
    std::ranges::sort(codes);
    codes.erase(std::unique(codes.begin(), codes.end()), codes.end());
  }
  return by_attribute;
}

void batch_predictor::predict_rows(const table& t, case_span cases,
                                   std::span<outcome> outcomes) const {
  thread_local std::vector<std::uint32_t> codes;
  gather_codes(t, cases, codes);
  predict({codes, t.n_attributes()}, outcomes);
}

void batch_predictor::predict(const case_block& cases, std::span<outcome> outcomes,
                              std::span<double> means, std::span<double> plain) const {
  assert(means.empty() || (answers_shares() && means.size() == outcomes.size() * n_class_codes_));
  how_ == answer::of_one ? predict_one(trees_[0], cases, outcomes)
                         : predict_together(cases, outcomes, means, plain);
}

void batch_predictor::predict_one(const flat_tree& tree, const case_block& cases,
                                  std::span<outcome> outcomes) const {
  const auto take = [&](std::size_t i, const decision_tree::prediction& found, double depth) {
    outcomes[i] = {found.first, found.second, depth};
  };
  tree.predict(cases, outcomes.size(), take);
}

/// Tree by tree over all cases: a tree stays in the cache while it is used.
void batch_predictor::predict_together(const case_block& cases, std::span<outcome> outcomes,
                                       std::span<double> means, std::span<double> plain) const {
  thread_local vote_count votes;
  votes.start(outcomes.size(), n_class_codes_);
  for (outcome& o : outcomes) o.depth = 0;
  for (std::size_t tree = 0; tree < trees_.size(); ++tree) {
    how_ == answer::votes ? add_votes(tree, cases, outcomes, votes)
                          : add_shares(tree, cases, outcomes, votes);
  }
  if (!decides_.is_plain()) return decide_by_shares(votes, outcomes, means, plain);
  for (std::size_t i = 0; i < outcomes.size(); ++i) {
    const vote_count::verdict found = votes.decide(i);
    outcomes[i].predicted = found.predicted;
    outcomes[i].confidence = found.share_of(all_votes_);
  }
  for (std::size_t k = 0; k < means.size(); ++k) means[k] = votes.all()[k] / all_votes_;
}

void batch_predictor::decide_by_shares(vote_count& votes, std::span<outcome> outcomes,
                                       std::span<double> means, std::span<double> plain) const {
  for (std::size_t k = 0; k < plain.size(); ++k) plain[k] = votes.all()[k] / all_votes_;
  for (std::size_t i = 0; i < outcomes.size(); ++i) {
    const vote_count::verdict found = votes.decide_shares(i, all_votes_, decides_);
    outcomes[i].predicted = found.predicted;
    outcomes[i].confidence = found.votes;
  }
  std::ranges::copy(votes.all().first(means.size()), means.begin());
}

void batch_predictor::add_votes(std::size_t tree, const case_block& cases,
                                std::span<outcome> outcomes, vote_count& votes) const {
  const auto count = [&](std::size_t i, const decision_tree::prediction& found, double depth) {
    outcomes[i].depth += depth;
    votes.add(i, found.first, votes_[tree]);
  };
  trees_[tree].predict(cases, outcomes.size(), count);
}

void batch_predictor::add_shares(std::size_t tree, const case_block& cases,
                                 std::span<outcome> outcomes, vote_count& votes) const {
  thread_local std::vector<std::uint32_t> all;
  if (all.size() != outcomes.size()) {
    all.resize(outcomes.size());
    std::iota(all.begin(), all.end(), 0U);
  }
  trees_[tree].add_shares(cases, all, votes_[tree], votes.all(),
                          [&](std::size_t i, double depth) { outcomes[i].depth += depth; });
}

}  // namespace orvik::impls
