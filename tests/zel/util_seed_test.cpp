#include <gtest/gtest.h>

#include <limits>
#include <random>
#include <set>
#include <thread>
#include <vector>

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

TEST_F(seed_test, numbers_every_purpose_by_itself) {
  set_seed(42);
  const unsigned long first = draw_seed(draw::bootstrap);
  set_seed(42);
  draw_seed(draw::sample);
  draw_seed(draw::bootstrap, {0});
  EXPECT_EQ(draw_seed(draw::bootstrap), first);
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

TEST_F(seed_test, depends_on_indices_and_not_on_the_asking_threads) {
  const auto seeds_by = [](unsigned long n_threads) {
    set_seed(9);
    std::vector<unsigned long> seeds(64);
    std::vector<std::thread> threads;
    for (unsigned long t = 0; t < n_threads; ++t) {
      threads.emplace_back([&seeds, t, n_threads] {
        for (unsigned long i = t; i < seeds.size(); i += n_threads) {
          seeds[i] = draw_seed(draw::attributes, {7, i});
        }
      });
    }
    for (std::thread& thread : threads) thread.join();
    return seeds;
  };
  EXPECT_EQ(seeds_by(1), seeds_by(5));
}

TEST_F(seed_test, gives_every_number_once_to_threads_that_count) {
  set_seed(9);
  std::vector<std::vector<unsigned long>> seeds(4, std::vector<unsigned long>(500));
  std::vector<std::thread> threads;
  for (auto& part : seeds) {
    threads.emplace_back([&part] {
      for (unsigned long& seed : part) seed = draw_seed(draw::sample);
    });
  }
  for (std::thread& thread : threads) thread.join();
  std::set<unsigned long> all;
  for (const auto& part : seeds) all.insert(part.begin(), part.end());
  EXPECT_EQ(all.size(), 2000);
}

TEST_F(seed_test, comes_from_the_device_without_a_run_seed) {
  set_seed(1);
  clear_seed();
  std::set<unsigned long> seeds;
  for (int i = 0; i < 8; ++i) {
    seeds.insert(draw_seed(draw::sample));
    seeds.insert(draw_seed(draw::sample, {1}));
  }
  EXPECT_GT(seeds.size(), 8);
  EXPECT_LE(*seeds.rbegin(), std::numeric_limits<unsigned>::max());
}

TEST(rand_gen, draws_every_number_of_its_range_and_none_outside) {
  rand_gen five(5, 123);
  std::set<unsigned long> drawn, below;
  for (int i = 0; i < 200; ++i) {
    drawn.insert(five());
    below.insert(five.below(3));
  }
  EXPECT_EQ(drawn, (std::set<unsigned long>{0, 1, 2, 3, 4}));
  EXPECT_EQ(below, (std::set<unsigned long>{0, 1, 2}));
  rand_gen one(1);
  for (int i = 0; i < 20; ++i) EXPECT_EQ(one(), 0);
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
