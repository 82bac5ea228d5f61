#include "impls/evaluation/batch_predictor.h"

#include <algorithm>
#include <cassert>
#include <optional>

#include "zel/util/number_util.h"
#include "zel/util/run_context.h"

namespace orvik::impls {

std::size_t cases_at_once(std::size_t n, std::size_t n_class_codes,
                          const zel::util::run_context& run) {
  constexpr std::size_t k_least = 1U << 9, k_most = 1U << 12, k_counters = 1U << 16;
  const std::size_t shared = std::clamp(n / (4 * run.n_slots()), k_least, k_most);
  return std::clamp<std::size_t>(k_counters / n_class_codes, 1, shared);
}

batch_predictor::batch_predictor(const table& t, const std::vector<const decision_tree*>& trees,
                                 bool vote, zel::util::run_context& run)
    : run_(run), n_class_codes_(t.n_class_codes()), n_attributes_(t.n_attributes()), vote_(vote) {
  assert(vote ? !trees.empty() : trees.size() == 1);
  flat_tree::require_narrow(t);
  std::vector<std::optional<flat_tree>> flat(trees.size());
  run.for_each_index(trees.size(), [&](unsigned long i) { flat[i].emplace(t, *trees[i]); });
  trees_.reserve(trees.size());
  for (std::optional<flat_tree>& tree : flat) trees_.push_back(std::move(*tree));
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

void batch_predictor::predict(const case_block& cases, std::span<outcome> outcomes) const {
  vote_ ? predict_votes(cases, outcomes) : predict_one(trees_[0], cases, outcomes);
}

void batch_predictor::predict_one(const flat_tree& tree, const case_block& cases,
                                  std::span<outcome> outcomes) const {
  const auto take = [&](std::size_t i, const decision_tree::prediction& found, double depth) {
    outcomes[i] = {found.first, found.second, depth};
  };
  tree.predict(cases, outcomes.size(), take);
}

/// Tree by tree over all cases: a tree stays in the cache while it is used.
void batch_predictor::predict_votes(const case_block& cases, std::span<outcome> outcomes) const {
  thread_local std::vector<std::uint32_t> votes;
  votes.assign(outcomes.size() * n_class_codes_, 0);
  for (outcome& o : outcomes) o.depth = 0;
  const auto count = [&](std::size_t i, const decision_tree::prediction& found, double depth) {
    outcomes[i].depth += depth;
    ++votes[i * n_class_codes_ + found.first];
  };
  for (const flat_tree& tree : trees_) tree.predict(cases, outcomes.size(), count);
  for (std::size_t i = 0; i < outcomes.size(); ++i) {
    const std::span<const std::uint32_t> of_case(votes.data() + i * n_class_codes_, n_class_codes_);
    const unsigned long best = zel::util::number_util::argmax(of_case);
    outcomes[i].predicted = best;
    outcomes[i].confidence =
        static_cast<double>(of_case[best]) / static_cast<double>(trees_.size());
  }
}

}  // namespace orvik::impls
