// Complete searches against the errors of all subsets.
#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>

#include "impls/selection/search.h"
#include "impls/support/every_subset.h"

namespace orvik::impls::selection {
namespace {

/// The smallest subset of at most so many errors, of these the best.
const rated_set& smallest_within(const std::vector<rated_set>& all, unsigned long errors) {
  const rated_set* best = nullptr;
  for (const rated_set& each : all) {
    if (each.errors > errors) continue;
    const unsigned long n = each.set.count(), held = best == nullptr ? ~0UL : best->set.count();
    if (n < held || (n == held && is_better(each, *best))) best = &each;
  }
  return *best;
}

struct plan {
  unsigned long attributes, rows, seed;
  bool weighted, preprune;
};

TEST(complete_selection, finds_what_trying_every_subset_finds) {
  std::vector<plan> plans{{9, 70, 5, true, true}, {10, 40, 6, true, true}};
  for (unsigned long seed = 10; seed < 30; ++seed) {
    plans.push_back({5 + seed % 4, 60 + seed, seed, seed % 2 == 0, seed % 3 != 0});
  }
  for (const plan& p : plans) {
    const divided_table data(noisy_table(p.attributes, p.rows, p.seed, p.weighted));
    for (const auto type : {model::INFORMATION_GAIN, model::PURE_GAIN_RATIO, model::GAIN_RATIO}) {
      const setting s = data.setting(type, p.preprune);
      const search_cases cases(s);
      const std::vector<rated_set> all = rate_every_subset(s);
      const rated_set& best = *std::ranges::min_element(all, is_better);
      const found_attributes found = find_attributes(s, model::EXHAUSTIVE, 0, 0);
      EXPECT_EQ(found.set.toCSV(), best.set.toCSV()) << p.seed << ' ' << type;
      EXPECT_EQ(found.done.error, cases.share(best.errors));
      EXPECT_EQ(found.done.subsets_covered, static_cast<double>(all.size()));
      EXPECT_LE(found.done.trees_grown, all.size() + 1);  // that of all attributes comes first

      for (const double delta : {-1.0, 0.0, 2.0, 10.0, 100.0}) {
        const double more = std::max(delta, 0.0) / 100 * static_cast<double>(cases.total());
        const rated_set& expected =
            smallest_within(all, best.errors + static_cast<unsigned long>(std::llround(more)));
        const found_attributes within = find_attributes(s, model::ACCEPTABLE_SUBSET, delta, 0);
        EXPECT_EQ(within.set.toCSV(), expected.set.toCSV())
            << p.seed << ' ' << type << ' ' << delta;
        EXPECT_EQ(within.done.error, cases.share(expected.errors));
        EXPECT_EQ(within.done.subsets_covered, static_cast<double>(all.size()));
      }
    }
  }
}

/// Where the split rule looks at each attribute by itself, a tree is met once.
TEST(complete_selection, meets_trees_as_often_as_they_differ) {
  const divided_table data(noisy_table(10, 100, 3, /*weighted=*/false));
  for (const auto type : {model::INFORMATION_GAIN, model::PURE_GAIN_RATIO}) {
    const setting s = data.setting(type, /*preprune=*/false);
    std::vector<std::string> trees;
    for (const rated_set& each : rate_every_subset(s)) {
      std::string text;
      zel::adt::walk(
          *grow_plainly(s, each.set),
          [&](const decision_tree& tree, unsigned long level) {
            text += std::to_string(level) + ':' +
                    (tree.get_no_childs() == 0 ? "" : std::to_string(tree.get_node()->attribute()));
            return true;
          },
          [](const decision_tree&, unsigned long) {});
      trees.push_back(text);
    }
    std::ranges::sort(trees);
    const auto n = static_cast<unsigned long>(std::ranges::unique(trees).begin() - trees.begin());
    EXPECT_EQ(find_attributes(s, model::EXHAUSTIVE, 0, 0).done.trees_distinct, n) << type;
  }
}

TEST(complete_selection, goes_the_same_way_on_any_number_of_workers) {
  const divided_table data(noisy_table(12, 200, 9, /*weighted=*/true));
  const setting s = data.setting(model::GAIN_RATIO, /*preprune=*/true);
  std::vector<std::string> logs;
  for (const unsigned long workers : {1UL, 2UL, 7UL}) {
    const loop_threads threads(workers);
    const found_attributes found = zel::util::default_context().with_workers(
        [&] { return find_attributes(s, model::ACCEPTABLE_SUBSET, 1, 0); });
    logs.push_back(found.set.toCSV() + found.log);
  }
  EXPECT_NE(logs[0].find(" + proven optimal"), std::string::npos) << logs[0];
  EXPECT_EQ(logs[1], logs[0]);
  EXPECT_EQ(logs[2], logs[0]);
}

TEST(complete_selection, tells_what_it_has_not_proven) {
  const divided_table data(noisy_table(12, 100, 9, /*weighted=*/false));
  const setting s = data.setting(model::GAIN_RATIO, /*preprune=*/true);
  for (const auto method : {model::EXHAUSTIVE, model::ACCEPTABLE_SUBSET}) {
    const found_attributes found = find_attributes(s, method, 0, 1e-9);
    EXPECT_FALSE(found.done.ended);
    EXPECT_NE(found.log.find("not proven"), std::string::npos) << found.log;
  }
}

}  // namespace
}  // namespace orvik::impls::selection
