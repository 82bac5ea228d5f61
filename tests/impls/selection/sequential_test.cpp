// Forward selection and both backward eliminations against the errors of all subsets.
#include <gtest/gtest.h>

#include "impls/selection/search.h"
#include "impls/support/every_subset.h"

namespace orvik::impls::selection {
namespace {

/// One step at a time over known errors, the best neighbour by the rule of ties.
rated_set climb(const std::vector<rated_set>& all, rated_set from, bool forward) {
  while (true) {
    const rated_set* best = nullptr;
    for (unsigned long a = 0; a < from.set.size(); ++a) {
      if (from.set[a] == forward) continue;
      const auto next = forward ? with(from.set, a) : without(from.set, a);
      const rated_set& rated = all[next.base_get()];
      if (best == nullptr || is_better(rated, *best)) best = &rated;
    }
    if (best == nullptr || best->errors > from.errors || (forward && best->errors == from.errors)) {
      return from;
    }
    from = *best;
  }
}

TEST(sequential_selection, goes_where_the_errors_of_all_subsets_lead) {
  for (unsigned long seed = 1; seed <= 4; ++seed) {
    const divided_table data(noisy_table(8, 90, seed, /*weighted=*/seed % 2 == 0));
    for (const auto type : {model::INFORMATION_GAIN, model::PURE_GAIN_RATIO, model::GAIN_RATIO}) {
      const setting s = data.setting(type, /*preprune=*/seed > 2);
      const search_cases cases(s);
      const std::vector<rated_set> all = rate_every_subset(s);
      const rated_set forward = climb(all, all.front(), true), back = climb(all, all.back(), false);
      const struct {
        model::feature_selection method;
        const rated_set& expected;
      } rows[] = {
          {model::FORWARD, forward}, {model::BACKWARD, back}, {model::OPTIMISED_BACKWARD, back}};
      for (const auto& row : rows) {
        const found_attributes found = find_attributes(s, row.method, 0, 0);
        EXPECT_EQ(found.set.toCSV(), row.expected.set.toCSV()) << seed << ' ' << type;
        EXPECT_EQ(found.done.error, cases.share(row.expected.errors));
        EXPECT_TRUE(found.done.ended);
      }
    }
  }
}

TEST(sequential_selection, eliminates_alike_from_many_attributes) {
  for (unsigned long seed = 1; seed <= 3; ++seed) {
    const divided_table data(noisy_table(16, 120, seed, /*weighted=*/seed % 2 == 0));
    for (const auto type : {model::INFORMATION_GAIN, model::PURE_GAIN_RATIO, model::GAIN_RATIO}) {
      const setting s = data.setting(type, /*preprune=*/true);
      const found_attributes plain = find_attributes(s, model::BACKWARD, 0, 0);
      const found_attributes shared = find_attributes(s, model::OPTIMISED_BACKWARD, 0, 0);
      EXPECT_EQ(shared.set.toCSV(), plain.set.toCSV()) << seed << ' ' << type;
      EXPECT_EQ(shared.done.error, plain.done.error);
      EXPECT_LT(plain.set.count(), 16);
    }
  }
}

/// Without unknown values and weights no sum is rounded: trees grown in place are the same.
TEST(sequential_selection, judges_the_trees_that_models_are_grown_to) {
  std::string data;
  std::mt19937_64 draw(5);
  for (int i = 0; i < 150; ++i) {
    const unsigned long a = draw() % 4, b = draw() % 40, c = draw() % 3;
    data += std::to_string(a) + "," + std::to_string(b) + "," + std::to_string(c) +
            (draw() % 5 == 0             ? ",x\n"
             : (a + b / 10 + c) % 3 == 0 ? ",y\n"
                                         : ",z\n");
  }
  const divided_table parts(make_table(
      "a,string,discrete\nb,integer,continuous\nc,string,discrete\nk,string,class\n", data));
  for (const auto type : {model::INFORMATION_GAIN, model::PURE_GAIN_RATIO, model::GAIN_RATIO}) {
    const setting s = parts.setting(type, /*preprune=*/false);
    for (const rated_set& each : rate_every_subset(s)) {
      decision_tree tree;
      case_list cases(s.growing);
      tree.build(s.t, &cases, type, s.min_weight, s.max_depth, &each.set, nullptr);
      EXPECT_EQ(errors_of(tree, s), each.errors) << each.set.toCSV();
    }
  }
}

TEST(sequential_selection, does_the_same_work_on_any_number_of_workers) {
  const divided_table data(noisy_table(12, 300, 9, /*weighted=*/true));
  const setting s = data.setting(model::GAIN_RATIO, /*preprune=*/true);
  for (const auto method : {model::BACKWARD, model::OPTIMISED_BACKWARD}) {
    std::vector<std::string> logs;
    for (const unsigned long workers : {1UL, 2UL, 7UL}) {
      const loop_threads threads(workers);
      const found_attributes found = zel::util::default_context().with_workers(
          [&] { return find_attributes(s, method, 0, 0); });
      logs.push_back(found.set.toCSV() + found.log);
    }
    EXPECT_EQ(logs[1], logs[0]);
    EXPECT_EQ(logs[2], logs[0]);
  }
}

TEST(sequential_selection, stops_at_its_best_when_the_time_is_up) {
  const divided_table data(noisy_table(12, 100, 9, /*weighted=*/false));
  const setting s = data.setting(model::GAIN_RATIO, /*preprune=*/true);
  for (const auto method : {model::FORWARD, model::BACKWARD, model::OPTIMISED_BACKWARD}) {
    const found_attributes found = find_attributes(s, method, 0, 1e-9);
    EXPECT_FALSE(found.done.ended);
    EXPECT_EQ(found.set.count(), method == model::FORWARD ? 0 : 12);
    EXPECT_NE(found.log.find("not proven"), std::string::npos) << found.log;
  }
}

}  // namespace
}  // namespace orvik::impls::selection
