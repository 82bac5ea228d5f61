#include <gtest/gtest.h>

#include <random>
#include <set>

#include "zel/util/rand_gen.h"
#include "zel/util/seed.h"

namespace zel::util {
namespace {

class seed_test : public testing::Test {
 protected:
  void TearDown() override { clear_seed(); }
};

TEST_F(seed_test, repeats_from_the_start_when_set_again) {
  set_seed(42);
  const unsigned long first = draw_seed(draw::shuffle);
  const unsigned long second = draw_seed(draw::shuffle);
  set_seed(42);
  EXPECT_EQ(draw_seed(draw::shuffle), first);
  EXPECT_EQ(draw_seed(draw::shuffle), second);
  set_seed(43);
  EXPECT_NE(draw_seed(draw::shuffle), first);
}

TEST_F(seed_test, differs_for_every_purpose_and_index) {
  set_seed(1);
  std::set<unsigned long> seeds;
  unsigned long drawn = 0;
  const auto add = [&](unsigned long seed) { seeds.insert(seed), ++drawn; };
  for (const draw purpose : {draw::shuffle, draw::sample, draw::bootstrap, draw::stratify,
                             draw::bitmap, draw::attributes}) {
    add(draw_seed(purpose, {}));
    for (unsigned long i = 0; i < 30; ++i) {
      add(draw_seed(purpose));
      add(draw_seed(purpose, {i}));
      for (unsigned long j = 0; j < 30; ++j) add(draw_seed(purpose, {i, j}));
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
