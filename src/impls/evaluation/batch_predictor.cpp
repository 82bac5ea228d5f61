#include "impls/evaluation/batch_predictor.h"

#include <algorithm>
#include <cassert>
#include <numeric>
#include <optional>

#include "zel/util/run_context.h"

namespace orvik::impls {

std::size_t cases_at_once(std::size_t n, std::size_t n_class_codes,
                          const zel::util::run_context& run) {
  constexpr std::size_t k_least = 1U << 9;
  const std::size_t part = run.n_slots() < 2 ? n : n / (2 * run.n_slots());
  return std::min(std::max(part, k_least), cases_at_once(n_class_codes));
}

std::size_t cases_at_once(std::size_t n_class_codes) {
  constexpr std::size_t k_most = 1U << 13, k_counters = 1U << 18;
  return std::clamp<std::size_t>(k_counters / n_class_codes, 1, k_most);
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
  std::vector<bool> tested(n_attributes_);
  for (const flat_tree& tree : trees_) tree.note_attributes(tested);
  for (unsigned long a = 0; a < n_attributes_; ++a) {
    if (tested[a]) asked_.push_back(a);
  }
  places_ = asked_;
}

void batch_predictor::take_asked_alone() {
  std::iota(places_.begin(), places_.end(), 0UL);
  std::vector<std::uint32_t> place_of(n_attributes_);
  for (const unsigned long place : places_) {
    place_of[asked_[place]] = static_cast<std::uint32_t>(place);
  }
  for (flat_tree& tree : trees_) tree.renumber(place_of);
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

/// Which of n cases have all values that are asked for: to tell pays where many trees are asked.
batch_predictor::sorted_cases batch_predictor::sort(const case_block& cases, std::size_t n) const {
  constexpr std::size_t k_few = 4;
  sorted_cases sorted;
  for (std::uint32_t i = 0; i < n; ++i) {
    const std::uint32_t* const codes = cases.codes.data() + i * cases.n_attributes;
    const auto lacks = [codes](unsigned long place) { return codes[place] == k_unknown; };
    const bool complete = trees_.size() > k_few && std::ranges::none_of(places_, lacks);
    (complete ? sorted.complete : sorted.others).push_back(i);
  }
  return sorted;
}

void batch_predictor::predict_rows(const table& t, case_span cases,
                                   std::span<outcome> outcomes) const {
  thread_local std::vector<std::uint32_t> codes;
  gather_codes(t, cases, codes);
  predict({codes, t.n_attributes()}, outcomes, {}, {}, /*with_depths=*/true);
}

void batch_predictor::predict_few_rows(const table& t, case_span cases,
                                       std::span<outcome> outcomes) const {
  thread_local std::vector<std::uint32_t> codes;
  gather_checked_codes(t, asked_, cases, codes);
  predict({codes, t.n_attributes()}, outcomes, {}, {}, /*with_depths=*/true);
}

void batch_predictor::predict(const case_block& cases, std::span<outcome> outcomes,
                              std::span<double> shares, std::span<double> plain,
                              bool with_depths) const {
  assert(shares.empty() || shares.size() == outcomes.size() * n_class_codes_);
  assert(plain.empty() || calibrates());
  if (how_ == answer::of_one) {
    predict_one(cases, outcomes);
  } else {
    thread_local vote_count votes;
    predict_together(cases, outcomes, votes, plain, run_, with_depths);
    if (how_ == answer::shares) share_out(votes, shares);
  }
  if (how_ != answer::shares && !shares.empty()) add_probabilities(cases, outcomes.size(), shares);
}

void batch_predictor::judge(const case_block& cases, std::span<double> said,
                            const zel::util::run_context& run) const {
  const std::size_t n = said.size() / n_class_codes_;
  if (how_ == answer::of_one) return add_probabilities(cases, n, said);
  thread_local vote_count votes;
  thread_local std::vector<outcome> outcomes;
  outcomes.resize(n);
  predict_together(cases, outcomes, votes, {}, run, /*with_depths=*/false);
  share_out(votes, said);
}

/// The shares that cases were decided by: of votes by any but the plain decision these are made
/// already.
void batch_predictor::share_out(vote_count& votes, std::span<double> shares) const {
  const vote_t all = decides_.is_plain() ? all_votes_ : 1;
  for (std::size_t k = 0; k < shares.size(); ++k) shares[k] = votes.all()[k] / all;
}

/// The mean shares over the trees, what is likely where no case came.
void batch_predictor::add_probabilities(const case_block& cases, std::size_t n,
                                        std::span<double> shares) const {
  std::ranges::fill(shares, 0.0);
  const sorted_cases sorted = sort(cases, n);
  for (const flat_tree& tree : trees_) tree.add_probabilities(cases, sorted.numbers(), shares);
  if (all_votes_ != 1) {
    for (double& share : shares) share /= all_votes_;
  }
  for (std::size_t i = 0; i < n; ++i) {
    decides_.adjust(shares.subspan(i * n_class_codes_, n_class_codes_));
  }
}

void batch_predictor::predict_one(const case_block& cases, std::span<outcome> outcomes) const {
  const auto take = [&](std::size_t i, const decision_tree::prediction& found, double depth) {
    outcomes[i] = {found.first, found.second, depth};
  };
  trees_[0].predict(cases, all_cases(outcomes.size()), take);
}

struct batch_predictor::asked {
  std::size_t tree;
  const case_block& cases;
  const case_numbers& which;
  vote_count& votes;
};

/// Adds what a tree says; reached(i, depth) is called for each case with a function.
template <class Reached>
void batch_predictor::ask(const asked& one, const Reached& reached) const {
  const flat_tree& tree = trees_[one.tree];
  if (how_ == answer::shares) {
    return tree.add_shares(one.cases, one.which, one.votes.all(), reached);
  }
  const auto count = [&](std::size_t i, const decision_tree::prediction& found, double depth) {
    one.votes.add(i, found.first, votes_[one.tree]);
    reached(i, [depth] { return depth; });
  };
  tree.predict(one.cases, one.which, count);
}

/// Tree by tree over all cases: a tree stays in the cache while it is used.
void batch_predictor::predict_together(const case_block& cases, std::span<outcome> outcomes,
                                       vote_count& votes, std::span<double> plain,
                                       const zel::util::run_context& run, bool with_depths) const {
  votes.start(outcomes.size(), n_class_codes_);
  for (outcome& o : outcomes) o.depth = 0;
  const sorted_cases sorted = sort(cases, outcomes.size());
  const case_numbers numbers = sorted.numbers();
  for (std::size_t tree = 0; tree < trees_.size(); ++tree) {
    run.require_not_cancelled();
    const asked one{tree, cases, numbers, votes};
    const auto no_depth = [](std::size_t, const auto&) {};
    const auto add_depth = [&](std::size_t i, const auto& depth) { outcomes[i].depth += depth(); };
    with_depths ? ask(one, add_depth) : ask(one, no_depth);
  }
  for (std::size_t k = 0; k < plain.size(); ++k) plain[k] = votes.all()[k] / all_votes_;
  for (std::size_t i = 0; i < outcomes.size(); ++i) {
    if (decides_.is_plain()) {
      const vote_count::verdict found = votes.decide(i);
      outcomes[i].predicted = found.predicted;
      outcomes[i].confidence = found.share_of(all_votes_);
    } else {
      const vote_count::verdict found = votes.decide_shares(i, all_votes_, decides_);
      outcomes[i].predicted = found.predicted;
      outcomes[i].confidence = found.votes;
    }
  }
}

}  // namespace orvik::impls
