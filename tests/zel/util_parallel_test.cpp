#include <gtest/gtest.h>

#include <algorithm>
#include <atomic>
#include <memory>
#include <stdexcept>
#include <string>
#include <thread>
#include <vector>

#include "zel/util/parallel.h"

namespace zel::util::parallel {
namespace {

class parallel_test : public testing::TestWithParam<unsigned long> {
 protected:
  void SetUp() override { n_workers = GetParam(); }
  void TearDown() override { n_workers = default_workers(); }
};

INSTANTIATE_TEST_SUITE_P(workers, parallel_test, testing::Values(0, 1, 2, 8),
                         testing::PrintToStringParamName());

TEST_P(parallel_test, gives_bodies_that_run_together_different_slots) {
  std::vector<std::atomic<int>> busy(n_slots());
  std::atomic<int> clashes{0};
  std::vector<unsigned long> sums(n_slots());
  with_workers([&] {
    for_each_index(2000, [&](unsigned long i) {
      const unsigned long s = slot();
      ASSERT_LT(s, busy.size());
      if (busy[s]++ != 0) ++clashes;
      sums[s] += i;
      std::this_thread::yield();
      --busy[s];
    });
  });
  EXPECT_EQ(clashes, 0);
  unsigned long sum = 0;
  for (const unsigned long part : sums) sum += part;
  EXPECT_EQ(sum, 1999000);
}

// Without isolation a thread that waits for an inner loop takes up further outer bodies.
TEST_P(parallel_test, never_enters_an_outer_body_while_waiting_for_an_inner_loop) {
  thread_local int outer_bodies = 0;
  std::atomic<int> deepest{0};
  std::atomic<unsigned long> visits{0};
  with_workers([&] {
    for_each_index(200, [&](unsigned long) {
      if (++outer_bodies > deepest) deepest = outer_bodies;
      for_each_index(50, [&](unsigned long) {
        std::this_thread::yield();
        ++visits;
      });
      --outer_bodies;
    });
  });
  EXPECT_EQ(deepest, 1);
  EXPECT_EQ(visits, 10000);
}

TEST_P(parallel_test, passes_results_and_both_forms_of_errors_on) {
  EXPECT_EQ(with_workers([] { return std::string("done"); }), "done");
  const auto fail_at = [](unsigned long i) {
    if (i == 70) throw std::runtime_error("cell 70");
  };
  EXPECT_THROW(with_workers([&] { for_each_index(100, fail_at); }), std::runtime_error);
  std::unique_ptr<std::runtime_error> caught;
  try {
    with_workers([] {
      for_each_index(100, [](unsigned long i) {
        if (i == 70) throw new std::runtime_error("row 70");
      });
    });
  } catch (std::runtime_error* thrown) {
    caught.reset(thrown);
  }
  ASSERT_TRUE(caught);
  EXPECT_STREQ(caught->what(), "row 70");
}

}  // namespace
}  // namespace zel::util::parallel
