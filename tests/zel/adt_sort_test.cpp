#include <gtest/gtest.h>

#include <algorithm>
#include <random>
#include <span>
#include <utility>
#include <vector>

#include "zel/adt/counting_sort.h"
#include "zel/adt/key_sort.h"

namespace zel::adt {
namespace {

TEST(key_sort, orders_spread_and_clustered_codes) {
  std::mt19937_64 random(3);
  key_sorter sorter;
  for (const std::size_t n :
       {0UL, 1UL, 2UL, 8UL, 9UL, 30UL, 48UL, 49UL, 900UL, 4095UL, 4096UL, 9000UL}) {
    for (const std::uint64_t n_codes : {1UL, 2UL, 700UL, 3000000UL, 1UL << 32}) {
      for (const std::uint64_t spread : {n_codes, std::min<std::uint64_t>(n_codes, 3)}) {
        const std::span<std::uint64_t> keys = sorter.start(n);
        for (std::size_t i = 0; i < n; ++i) {
          keys[i] = (random() % spread) << k_key_payload_bits | i;
        }
        if (n > 0) keys[n / 2] = (n_codes - 1) << k_key_payload_bits | n / 2;
        std::vector<std::uint64_t> expected(keys.begin(), keys.end());
        std::ranges::sort(expected);
        const auto sorted = sorter.sort(n, n_codes);
        EXPECT_TRUE(std::ranges::equal(sorted, expected)) << n << " " << n_codes << " " << spread;
      }
    }
  }
}

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
