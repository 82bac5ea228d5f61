// Depth-first over the families of subsets, some families at a time: these are grown and judged
// side by side, and what they are split into is pushed in their order. So the search goes the same
// way for any number of workers.
//
// The acceptable subset takes two passes. The first finds the least errors, and drops families
// that cannot have fewer than the best so far. The second knows which errors are acceptable, and
// drops families without such a subset and those whose subsets are all too large.
#include "impls/selection/complete.h"

#include <algorithm>
#include <cmath>
#include <unordered_set>

#include "zel/util/run_context.h"

namespace orvik::impls::selection {

namespace {

/// The best subset of every size met so far.
class best_by_size {
 public:
  explicit best_by_size(unsigned long n_attributes) : best_(n_attributes + 1) {}

  void offer(const rated_set& rated) {
    std::optional<rated_set>& held = best_[rated.set.count()];
    if (!held || is_better(rated, *held)) held = rated;
  }
  unsigned long least_errors() const {
    unsigned long least = ~0UL;
    for (const auto& each : best_) least = std::min(least, each ? each->errors : ~0UL);
    return least;
  }
  /// The smallest one of at most so many errors; null without any.
  const rated_set* smallest_within(unsigned long errors) const {
    for (const auto& each : best_) {
      if (each && each->errors <= errors) return &*each;
    }
    return nullptr;
  }

 private:
  std::vector<std::optional<rated_set>> best_;
};

class complete_search {
 public:
  enum pass { EVERY_TREE, LEAST_ERRORS, SMALLEST };

  complete_search(const setting& s, const deadline& limit)
      : s_(s), limit_(limit), rater_(s, limit), best_(s.t.n_attributes()) {}

  const search_cases& cases() const { return rater_.cases(); }
  best_by_size& best() { return best_; }
  const feature_search& done() const { return done_; }

  /// The tree of all attributes, however long it takes.
  rated_set rate_all() {
    std::vector<subset_range> first{whole()};
    judge(first, deadline());
    return {s_.usable, judged_[0].errors};
  }

  /// What searching step by step finds is a good start. @return false if the time was up.
  bool begin_step_by_step() {
    const bool in_time = search_forward(rater_).ended && search_backward(rater_).ended;
    for (const rated_set& each : rater_.known_least()) best_.offer(each);
    done_.trees_grown += rater_.account().trees_grown;
    done_.trees_avoided += rater_.account().trees_avoided;
    done_.case_visits += rater_.account().case_visits;
    return in_time;
  }

  /// @return whether the pass came to its end. `acceptable` is for the smallest subset.
  bool run(pass what, unsigned long acceptable) {
    done_.subsets_covered = 0;
    std::vector<subset_range> open{whole()};
    while (!open.empty()) {
      std::vector<subset_range> batch;
      while (!open.empty() && batch.size() < k_side_by_side) {
        if (is_of_use(open.back(), what, acceptable)) {
          batch.push_back(std::move(open.back()));
        } else {
          skip(open.back());
        }
        open.pop_back();
      }
      if (!judge(batch, limit_)) return false;
      for (std::size_t i = 0; i < batch.size(); ++i) push_rest(batch[i], judged_[i], what, open);
    }
    return true;
  }

 private:
  struct judged {
    attribute_set least;
    unsigned long errors = 0, visits = 0, shape = 0;
    std::vector<subset_range> rest;
  };

  subset_range whole() const {
    subset_range all{s_.usable, s_.usable, 0};
    all.kept.reset_all();
    return all;
  }

  bool is_of_use(const subset_range& range, pass what, unsigned long acceptable) const {
    if (what == EVERY_TREE) return true;
    if (what == LEAST_ERRORS) return range.bound < best_.least_errors();
    if (range.bound > acceptable) return false;
    const rated_set& held = *best_.smallest_within(acceptable);
    const unsigned long size = range.kept.count(), held_size = held.set.count();
    return size < held_size || (size == held_size && range.bound <= held.errors);
  }

  /// All subsets of the range are ruled out.
  void skip(const subset_range& range) {
    ++done_.trees_avoided;
    done_.subsets_covered += std::ldexp(1.0, static_cast<int>(range.open.count()));
  }

  /// Grows the trees of the ranges and fills in `judged_`. @return false if the time was up.
  bool judge(const std::vector<subset_range>& ranges, const deadline& limit) {
    search_tree& tree = rater_.tree();
    std::vector<attribute_set> largest;
    for (const subset_range& range : ranges) {
      largest.push_back(range.kept);
      largest.back().or_op(range.open);
    }
    const unsigned long before = tree.visits();
    const bool grown = tree.grow(largest, limit);
    done_.case_visits += tree.visits() - before;
    if (!grown) return false;
    judged_.assign(ranges.size(), {});
    s_.run.for_each_index(ranges.size(), [&](unsigned long i) {
      const subset_tree one(tree.root(), largest[i], s_);
      family of(one, s_, ranges[i]);
      judged& result = judged_[i];
      result.errors = one.errors(cases(), result.visits);
      result.shape = one.shape();
      result.least = of.least();
      result.rest = of.take_rest();
    });
    for (const judged& each : judged_) done_.case_visits += each.visits;
    done_.trees_grown += ranges.size();
    return true;
  }

  void push_rest(const subset_range& range, judged& found, pass what,
                 std::vector<subset_range>& open) {
    best_.offer({found.least, found.errors});
    if (what == EVERY_TREE && distinct_.insert(found.shape).second) ++done_.trees_distinct;
    done_.subsets_covered +=
        std::ldexp(1.0, static_cast<int>(range.open.count() - found.rest.size()));
    std::ranges::move(found.rest, std::back_inserter(open));
  }

  const setting& s_;
  deadline limit_;
  sharing_evaluator rater_;
  best_by_size best_;
  std::vector<judged> judged_;
  std::unordered_set<unsigned long> distinct_;  // shapes of trees
  feature_search done_;
};

/// Errors that are at most `delta` percentage points above the least.
unsigned long acceptable_errors(const search_cases& cases, unsigned long least, double delta) {
  const double more = delta / 100 * static_cast<double>(cases.total());
  const unsigned long most = cases.most();
  return more >= static_cast<double>(most - least)
             ? most
             : least + static_cast<unsigned long>(std::llround(more));
}

}  // namespace

complete_result search_exhaustively(const setting& s, const deadline& limit) {
  complete_search search(s, limit);
  const rated_set start = search.rate_all();
  search.best().offer(start);
  const bool proven = search.run(complete_search::EVERY_TREE, 0);
  const unsigned long least = search.best().least_errors();
  return {*search.best().smallest_within(least), start, least, proven, search.done()};
}

complete_result search_acceptable(const setting& s, double delta, const deadline& limit) {
  if (delta < 0) return search_exhaustively(s, limit);
  complete_search search(s, limit);
  const rated_set start = search.rate_all();
  search.best().offer(start);
  bool proven = search.begin_step_by_step() && search.run(complete_search::LEAST_ERRORS, 0);
  const unsigned long least = search.best().least_errors();
  const unsigned long acceptable = acceptable_errors(search.cases(), least, delta);
  proven = proven && search.run(complete_search::SMALLEST, acceptable);
  return {*search.best().smallest_within(acceptable), start, least, proven, search.done()};
}

}  // namespace orvik::impls::selection
