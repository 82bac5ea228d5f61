#include <gtest/gtest.h>

#include <algorithm>
#include <random>
#include <span>
#include <utility>
#include <vector>

#include "zel/adt/counting_sort.h"

namespace zel::adt {
namespace {

using item = std::pair<unsigned long, int>;  // key, former position

TEST(counting_sort, agrees_with_a_stable_sort_and_reuses_its_scratch) {
  std::mt19937 random(5);
  counting_scratch<item> scratch;
  for (const unsigned long n : {1000UL, 0UL, 1UL, 2UL, 17UL, 1000UL}) {
    for (const unsigned long range : {1UL, 3UL, 500UL}) {
      std::vector<item> items;
      for (unsigned long i = 0; i < n; ++i) {
        items.emplace_back(40 + random() % range, static_cast<int>(i));
      }
      std::vector<item> expected = items;
      const auto key = [](const item& x) { return x.first; };
      std::stable_sort(expected.begin(), expected.end(),
                       [&](const item& a, const item& b) { return key(a) < key(b); });
      counting_sort(std::span(items), key, 40, range, scratch);
      EXPECT_EQ(items, expected) << n << " " << range;
    }
  }
  const item* memory = scratch.items.data();
  std::vector<item> items{{1, 0}, {0, 1}};
  counting_sort(
      std::span(items), [](const item& x) { return x.first; }, 0, 2, scratch);
  EXPECT_EQ(scratch.items.data(), memory);
}

}  // namespace
}  // namespace zel::adt
