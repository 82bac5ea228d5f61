#include <gtest/gtest.h>

#include <random>
#include <set>

#include "zel/util/rand_gen.h"
#include "zel/util/seed.h"

namespace zel::util {
namespace {

TEST(seed_source, repeats_from_the_start_when_set_again) {
  seed_source seeds;
  seeds.set(42);
  const unsigned long first = seeds.next(draw::shuffle);
  const unsigned long second = seeds.next(draw::shuffle);
  seeds.set(42);
  EXPECT_EQ(seeds.next(draw::shuffle), first);
  EXPECT_EQ(seeds.next(draw::shuffle), second);
  seeds.set(43);
  EXPECT_NE(seeds.next(draw::shuffle), first);
}

TEST(seed_source, differs_for_every_purpose_and_index) {
  seed_source source;
  source.set(1);
  std::set<unsigned long> seeds;
  unsigned long drawn = 0;
  const auto add = [&](unsigned long seed) { seeds.insert(seed), ++drawn; };
  for (const draw purpose : {draw::shuffle, draw::sample, draw::bootstrap, draw::stratify,
                             draw::bitmap, draw::attributes}) {
    add(source.at(purpose, {}));
    for (unsigned long i = 0; i < 30; ++i) {
      add(source.next(purpose));
      add(source.at(purpose, {i}));
      for (unsigned long j = 0; j < 30; ++j) add(source.at(purpose, {i, j}));
    }
  }
  EXPECT_EQ(seeds.size(), drawn);
}

TEST(rand_gen, is_the_standard_engine_and_distribution) {
  rand_gen random(1000, 77);
  std::mt19937_64 engine(77);
  for (const unsigned long n : {1000UL, 3UL, 1UL << 63, 1000UL}) {
    std::uniform_int_distribution<unsigned long> uniform(0, n - 1);
    EXPECT_EQ(n == 1000 ? random() : random.below(n), uniform(engine));
  }
}

}  // namespace
}  // namespace zel::util
