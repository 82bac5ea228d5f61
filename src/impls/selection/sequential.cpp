#include "impls/selection/sequential.h"

#include <algorithm>

namespace orvik::impls::selection {

namespace {

/// Replaces the set by the best of the neighbours while accept(new errors, old errors).
/// `change(set)` makes the neighbours of a set.
template <class Change, class Accept>
found_set climb(evaluator& rater, const attribute_set& from, const Change& change,
                const Accept& accept) {
  rated_set start{from, 0};
  rater.rate_first(start);
  found_set found{start, start, true};
  while (true) {
    std::vector<rated_set> neighbours = change(found.best.set);
    if (neighbours.empty()) return found;
    if (!rater.rate(neighbours)) {
      found.ended = false;
      return found;
    }
    const rated_set& best = *std::ranges::min_element(neighbours, is_better);
    if (!accept(best.errors, found.best.errors)) return found;
    found.best = best;
  }
}

}  // namespace

found_set search_forward(evaluator& rater) {
  const attribute_set& usable = rater.what().usable;
  attribute_set none = usable;
  none.reset_all();
  const auto add_one = [&usable](const attribute_set& set) {
    std::vector<rated_set> all;
    for (const unsigned long a : usable) {
      if (!set[a]) all.push_back({with(set, a), 0});
    }
    return all;
  };
  return climb(rater, none, add_one,
               [](unsigned long now, unsigned long before) { return now < before; });
}

found_set search_backward(evaluator& rater) {
  const auto remove_one = [](const attribute_set& set) {
    std::vector<rated_set> all;
    for (const unsigned long a : set) all.push_back({without(set, a), 0});
    return all;
  };
  return climb(rater, rater.what().usable, remove_one,
               [](unsigned long now, unsigned long before) { return now <= before; });
}

}  // namespace orvik::impls::selection
