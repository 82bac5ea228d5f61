// Choices at a node against all subsets for which they are said to be the same.
#include "impls/selection/stable_choice.h"

#include <gtest/gtest.h>

#include <random>

namespace orvik::impls::selection {
namespace {

constexpr unsigned int k_attributes = 8;

/// Gains and split informations as they come at nodes, equal ones among them, and tests that
/// cannot split.
std::vector<candidate> random_tests(std::mt19937_64& draw) {
  std::vector<candidate> tests;
  for (unsigned int a = 0; a < k_attributes; ++a) {
    if (draw() % 6 == 0) continue;
    const double gain = static_cast<double>(draw() % 12) * 0.02 - 0.001;
    const double split_info = static_cast<double>(draw() % 8) * 0.25;
    tests.push_back({a, {1, 2, gain, split_info}});
  }
  return tests;
}

attribute_set set_of(unsigned long bits) {
  attribute_set set;
  set.resize(k_attributes);
  set.base_set(bits);
  return set;
}

TEST(stable_choice, holds_for_every_subset_between_least_and_most) {
  std::mt19937_64 draw(11);
  unsigned long spared = 0, chosen_alone = 0, rounds = 0;
  for (const auto type : {model::INFORMATION_GAIN, model::PURE_GAIN_RATIO, model::GAIN_RATIO}) {
    for (int round = 0; round < 400; ++round, ++rounds) {
      const std::vector<candidate> tests = random_tests(draw);
      const unsigned long most_bits = draw() % (1UL << k_attributes);
      const attribute_set most = set_of(most_bits);
      attribute_set least = set_of(most_bits & draw() & draw());
      const unsigned long before = least.count();
      std::vector<unsigned int> added;
      const candidate* chosen = split_choice::best_of(std::span(tests), type, members(most));
      keep_choice(tests, chosen, type, most, least, added);
      ASSERT_TRUE(is_subset(least, most));
      ASSERT_EQ(least.count(), before + added.size());
      for (unsigned long bits = 0; bits < 1UL << k_attributes; ++bits) {
        const attribute_set between = set_of(bits);
        if (!is_subset(least, between) || !is_subset(between, most)) continue;
        ASSERT_EQ(split_choice::best_of(std::span(tests), type, members(between)), chosen)
            << type << ' ' << bits;
      }
      spared += most.count() - least.count();
      chosen_alone += added.size() <= 1;
    }
  }
  EXPECT_GT(spared, rounds);  // more than one attribute a round may come or go
  EXPECT_GT(chosen_alone, rounds / 2);
}

}  // namespace
}  // namespace orvik::impls::selection
