// Out-of-bag error: every training case is classified by the trees that did not draw it
// (Breiman, Out-of-bag estimation, 1996), an estimate of the error on new cases for the price of
// one pass over the training cases.
//
// A task takes a chunk of cases through one tree after the other: a tree stays in the cache while
// it is used.
#include <algorithm>
#include <cstdint>
#include <limits>
#include <optional>
#include <span>
#include <stdexcept>
#include <vector>

#include "impls/evaluation/batch_predictor.h"
#include "impls/model/bootstrap.h"
#include "impls/model/dtree.h"
#include "zel/util/number_util.h"
#include "zel/util/parallel.h"

namespace orvik::impls {

namespace {

constexpr char k_other_table[] = "the table does not hold the training cases";

constexpr std::uint32_t k_no_vote = std::numeric_limits<std::uint32_t>::max();

struct voting_tree {
  zel::adt::bitmap in_bag;  // by position in the list of training cases
  flat_tree tree;
};

/// Cases that follow each other in the list of training cases, the first at position `first`.
struct chunk {
  unsigned long first;
  case_list cases;
};

/// Sets for every case of the chunk the class of the most votes, the lowest of equals.
void vote(const table& t, const std::vector<std::optional<voting_tree>>& trees, const chunk& some,
          std::span<std::uint32_t> winners) {
  const unsigned long n_codes = t.n_class_codes();
  std::vector<std::uint32_t> votes(some.cases.size() * n_codes);  // case by case
  std::vector<std::uint32_t> codes;
  gather_codes(t, some.cases, codes);
  const case_block block{codes, t.n_attributes()};
  std::vector<std::uint32_t> out_of_bag;
  const auto count = [&](std::size_t i, const decision_tree::prediction& found, double) {
    ++votes[i * n_codes + found.first];
  };
  for (const auto& voter : trees) {
    out_of_bag.clear();
    for (std::uint32_t i = 0; i < winners.size(); ++i) {
      if (!voter->in_bag[some.first + i]) out_of_bag.push_back(i);
    }
    voter->tree.predict(block, out_of_bag, count);
  }
  for (unsigned long i = 0; i < winners.size(); ++i) {
    const std::span<const std::uint32_t> of_case(votes.data() + i * n_codes, n_codes);
    const unsigned long best = zel::util::number_util::argmax(of_case);
    winners[i] = of_case[best] == 0 ? k_no_vote : static_cast<std::uint32_t>(best);
  }
}

}  // namespace

bool dtree::has_draws() const {
  return ensemble_ && !cases_.empty() && seeds_.size() == trees_.size();
}

void dtree::require_training_rows(const table& t) const {
  require_trees();
  bool held = table_ && t.n_attributes() == table_->n_attributes() &&
              t.n_class_codes() == table_->n_class_codes();
  for (unsigned long i = 0; held && i < cases_.size(); ++i) held = cases_[i].first < t.n_rows();
  if (!held) throw std::runtime_error(k_other_table);
}

double dtree::oob_error(const table& t) const {
  require_training_rows(t);
  if (!has_draws()) return std::numeric_limits<double>::quiet_NaN();
  const unsigned long n = cases_.size();
  std::vector<std::optional<voting_tree>> trees(trees_.size());
  std::vector<std::uint32_t> winners(n);
  zel::util::parallel::with_workers([&] {
    zel::util::parallel::for_each_index(trees.size(), [&](unsigned long i) {
      trees[i].emplace(voting_tree{in_bag(n, seeds_[i]), flat_tree(t, *trees_[i])});
    });
    const unsigned long size = cases_at_once(n, t.n_class_codes());
    zel::util::parallel::for_each_index((n + size - 1) / size, [&](unsigned long number) {
      chunk some{number * size, {}};
      const unsigned long end = std::min(n, some.first + size);
      for (unsigned long i = some.first; i < end; ++i) some.cases.push_back(cases_[i]);
      vote(t, trees, some, std::span(winners).subspan(some.first, some.cases.size()));
    });
  });

  double voted = 0, wrong = 0;
  for (unsigned long i = 0; i < n; ++i) {  // in list order: the sums do not hang on the chunks
    if (winners[i] == k_no_vote) continue;
    const auto [row, weight] = cases_[i];
    voted += weight;
    if (winners[i] != t.class_column().get_row_index(row)) wrong += weight;
  }
  return voted > 0 ? wrong / voted : std::numeric_limits<double>::quiet_NaN();
}

}  // namespace orvik::impls
