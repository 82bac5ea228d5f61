#include "impls/selection/evaluator.h"

#include <algorithm>
#include <atomic>
#include <cassert>
#include <utility>

#include "impls/selection/stable_choice.h"
#include "zel/inpout/binstream.h"
#include "zel/util/blocks.h"
#include "zel/util/side_by_side.h"

namespace orvik::impls::selection {

namespace {

constexpr char k_bad_rating[] = "what was kept of a search is no rating of its subsets";

}  // namespace

void evaluator::rate_first(rated_set& subset) {
  const deadline limit = std::exchange(limit_, deadline());
  rate({&subset, 1});
  limit_ = limit;
}

bool plain_evaluator::rate(std::span<rated_set> subsets) {
  enum figure { IN_TIME, VISITS, ERRORS, N };
  std::atomic<bool> in_time = true;
  const auto rate_one = [&](unsigned long i) {
    const std::vector<attribute_set> one{subsets[i].set};
    search_tree tree(s_, cases_, one[0]);
    std::vector<unsigned long> found(N);
    if (!in_time || !tree.grow(one, limit_)) {
      in_time = false;
      return found;
    }
    found = {1, tree.visits(), 0};
    found[ERRORS] = subset_tree(tree.root(), one[0], s_).errors(cases_, found[VISITS]);
    return found;
  };
  std::vector<std::vector<unsigned long>> rated(subsets.size());
  zel::util::make_side_by_side(s_.run, rated, rate_one, /*kept=*/true);
  for (std::size_t i = 0; i < rated.size(); ++i) {
    zel::inpout::require(rated[i].size() == N, k_bad_rating);
    in_time = in_time && rated[i][IN_TIME] != 0;
    work_.case_visits += rated[i][VISITS];
    subsets[i].errors = rated[i][ERRORS];
  }
  if (!in_time) return false;
  work_.trees_grown += subsets.size();
  work_.subsets_covered += static_cast<double>(subsets.size());
  return true;
}

const sharing_evaluator::known_tree* sharing_evaluator::find_known(
    const attribute_set& subset) const {
  const auto found = std::ranges::find_if(known_, [&](const known_tree& k) {
    return is_subset(k.least, subset) && is_subset(subset, k.most);
  });
  return found == known_.end() ? nullptr : &*found;
}

bool sharing_evaluator::rate(std::span<rated_set> subsets) {
  std::vector<attribute_set> missing;
  for (const rated_set& each : subsets) {
    if (find_known(each.set) == nullptr) missing.push_back(each.set);
  }
  work_.trees_avoided += subsets.size() - missing.size();
  const zel::util::blocks groups(missing.size(), k_side_by_side);
  for (std::size_t g = 0; g < groups.count(); ++g) {
    const auto [first, n] = groups[g];
    if (!rate_new(std::span(missing).subspan(first, n))) return false;
  }
  for (rated_set& each : subsets) {
    const known_tree* const known = find_known(each.set);
    assert(known != nullptr);
    each.errors = known->errors;
  }
  work_.subsets_covered += static_cast<double>(subsets.size());
  return true;
}

bool sharing_evaluator::rate_new(std::span<const attribute_set> subsets) {
  const unsigned long before = tree_.visits();
  const bool grown = tree_.grow(subsets, limit_);
  work_.case_visits += tree_.visits() - before;
  if (!grown) return false;
  std::vector<known_tree> made(subsets.size());
  std::vector<unsigned long> visits(subsets.size());
  s_.run.for_each_index(subsets.size(), [&](unsigned long i) {
    const subset_tree tree(tree_.root(), subsets[i], s_);
    attribute_set least = subsets[i];
    least.reset_all();
    std::vector<unsigned int> added;
    for (const subset_tree::place& p : tree.places()) {
      keep_choice(p.node->tests, p.choice, s_.type, subsets[i], least, added);
    }
    made[i] = {least, subsets[i], tree.errors(cases_, visits[i])};
  });
  for (const unsigned long v : visits) work_.case_visits += v;
  std::ranges::move(made, std::back_inserter(known_));
  work_.trees_grown += subsets.size();
  return true;
}

std::vector<rated_set> sharing_evaluator::known_least() const {
  std::vector<rated_set> all;
  for (const known_tree& each : known_) all.push_back({each.least, each.errors});
  return all;
}

}  // namespace orvik::impls::selection
