// Families of subsets against the trees of all their members.
#include "impls/selection/family.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <iterator>

#include "impls/support/every_subset.h"

namespace orvik::impls::selection {
namespace {

attribute_set most_of(const subset_range& range) {
  attribute_set most = range.kept;
  most.or_op(range.open);
  return most;
}

/// Divides families until none is left. None promises more than its best member, the members
/// above its least one have its tree, and every subset is a member of one.
class divided_families {
 public:
  divided_families(const setting& s, const std::vector<rated_set>& all)
      : s_(s), all_(all), cases_(s), tree_(s, cases_, s.usable) {
    subset_range whole{s.usable, s.usable, 0};
    whole.kept.reset_all();
    open_.push_back(whole);
  }

  std::size_t meet_all() {
    std::size_t met = 0;
    while (!open_.empty()) {
      const subset_range range = open_.back();
      open_.pop_back();
      met += meet(range);
    }
    return met;
  }

 private:
  /// @return the members that have the family's tree
  std::size_t meet(const subset_range& range) {
    const attribute_set most = most_of(range);
    EXPECT_TRUE(tree_.grow(std::span(&most, 1), deadline(0)));
    const subset_tree largest(tree_.root(), most, s_);
    family of(largest, s_, range);
    unsigned long visits = 0;
    const unsigned long errors = largest.errors(cases_, visits);
    std::ranges::move(of.take_rest(), std::back_inserter(open_));
    std::size_t alike = 0;
    for (const rated_set& each : all_) {
      if (!is_subset(range.kept, each.set) || !is_subset(each.set, most)) continue;
      EXPECT_LE(range.bound, each.errors) << each.set.toCSV();
      if (!is_subset(of.least(), each.set)) continue;
      EXPECT_EQ(each.errors, errors) << each.set.toCSV();
      ++alike;
    }
    return alike;
  }

  const setting& s_;
  const std::vector<rated_set>& all_;
  search_cases cases_;
  search_tree tree_;
  std::vector<subset_range> open_;
};

TEST(family, promises_no_more_than_its_best_member) {
  for (unsigned long seed = 0; seed < 120; ++seed) {
    const divided_table data(noisy_table(4, 24 + seed % 20, seed, /*weighted=*/seed % 2 == 0));
    for (const auto type : {model::INFORMATION_GAIN, model::PURE_GAIN_RATIO, model::GAIN_RATIO}) {
      const setting s = data.setting(type, /*preprune=*/seed % 4 != 3);
      const std::vector<rated_set> all = rate_every_subset(s);
      EXPECT_EQ(divided_families(s, all).meet_all(), all.size()) << seed << ' ' << type;
    }
  }
}

}  // namespace
}  // namespace orvik::impls::selection
