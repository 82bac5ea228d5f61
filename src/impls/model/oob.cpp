// Out-of-bag error: every training case is classified by the trees that did not draw it
// (Breiman, Out-of-bag estimation, 1996), an estimate of the error on new cases for the price of
// one pass over the training cases.
//
// A task takes a chunk of cases through one tree after the other: the tree stays in the cache.
#include <algorithm>
#include <cstdint>
#include <limits>
#include <span>
#include <vector>

#include "impls/model/bootstrap.h"
#include "impls/model/dtree.h"
#include "zel/util/number_util.h"
#include "zel/util/parallel.h"

namespace orvik::impls {

namespace {

constexpr std::uint32_t k_no_vote = std::numeric_limits<std::uint32_t>::max();
constexpr unsigned long k_chunk_cases = 1UL << 10;
constexpr unsigned long k_chunk_counters = 1UL << 20;  // bounds a task's memory: many classes

/// Cases a task takes: as many as their vote counters allow.
unsigned long chunk_size(unsigned long n_codes) {
  return std::clamp(k_chunk_counters / n_codes, 1UL, k_chunk_cases);
}

/// The vote counters of a chunk of cases.
class chunk_votes {
 public:
  chunk_votes(unsigned long n_cases, unsigned long n_codes)
      : n_codes_(n_codes), counts_(n_cases * n_codes) {}

  void add(unsigned long i, code_t code) { ++counts_[i * n_codes_ + code]; }
  /// The code of the most votes for a case, the lowest of equals; k_no_vote without votes.
  std::uint32_t winner(unsigned long i) const {
    const std::span<const std::uint32_t> of_case(counts_.data() + i * n_codes_, n_codes_);
    const unsigned long best = zel::util::number_util::argmax(of_case);
    return of_case[best] == 0 ? k_no_vote : static_cast<std::uint32_t>(best);
  }

 private:
  unsigned long n_codes_;
  std::vector<std::uint32_t> counts_;  // case by case
};

}  // namespace

bool dtree::has_draws() const {
  return ensemble_ && !cases_.empty() && seeds_.size() == trees_.size();
}

double dtree::oob_error(const table& t) const {
  require_trees();
  if (!has_draws()) return std::numeric_limits<double>::quiet_NaN();
  const unsigned long n = cases_.size();
  const unsigned long n_codes = t.n_class_codes();
  std::vector<zel::adt::bitmap> drawn(trees_.size());
  std::vector<std::uint32_t> winners(n);

  const auto vote_for_chunk = [&](unsigned long first, unsigned long end) {
    chunk_votes votes(end - first, n_codes);
    decision_tree::prediction result;
    for (unsigned long tree = 0; tree < trees_.size(); ++tree) {
      const zel::adt::bitmap& own = drawn[tree];
      for (unsigned long i = first; i < end; ++i) {
        if (own[i]) continue;
        trees_[tree]->predict_row(t, cases_.row(i), result, 1.0);
        votes.add(i - first, result.first);
      }
    }
    for (unsigned long i = first; i < end; ++i) winners[i] = votes.winner(i - first);
  };
  zel::util::parallel::with_workers([&] {
    zel::util::parallel::for_each_index(
        trees_.size(), [&](unsigned long tree) { drawn[tree] = in_bag(n, seeds_[tree]); });
    const unsigned long size = chunk_size(n_codes);
    zel::util::parallel::for_each_index((n + size - 1) / size, [&](unsigned long chunk) {
      vote_for_chunk(chunk * size, std::min(n, (chunk + 1) * size));
    });
  });

  double voted = 0, wrong = 0;
  for (unsigned long i = 0; i < n; ++i) {  // in list order: sums do not hang on the chunks
    if (winners[i] == k_no_vote) continue;
    voted += cases_.weight(i);
    if (winners[i] != t.class_column().get_row_index(cases_.row(i))) wrong += cases_.weight(i);
  }
  return wrong / voted;  // not-a-number when no case is out of bag
}

}  // namespace orvik::impls
