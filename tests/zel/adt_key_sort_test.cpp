#include <gtest/gtest.h>

#include <algorithm>
#include <random>
#include <vector>

#include "zel/adt/key_sort.h"

namespace zel::adt {
namespace {

TEST(key_sort, orders_spread_and_clustered_codes) {
  std::mt19937_64 random(3);
  key_sorter sorter;
  for (const std::size_t n : {0UL, 1UL, 2UL, 24UL, 25UL, 900UL, 4095UL, 4096UL, 9000UL}) {
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

}  // namespace
}  // namespace zel::adt
