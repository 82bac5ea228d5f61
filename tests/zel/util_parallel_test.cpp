#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <algorithm>
#include <atomic>
#include <chrono>
#include <memory>
#include <stdexcept>
#include <string>
#include <thread>
#include <vector>

#include "zel/util/run_context.h"

namespace zel::util {
namespace {

class parallel_test : public testing::TestWithParam<unsigned long> {
 protected:
  void SetUp() override { run_.n_workers = GetParam(); }

  run_context run_;
};

INSTANTIATE_TEST_SUITE_P(workers, parallel_test, testing::Values(0, 1, 2, 8),
                         testing::PrintToStringParamName());

TEST_P(parallel_test, gives_bodies_that_run_together_different_slots) {
  std::vector<std::atomic<int>> busy(run_.n_slots());
  std::atomic<int> clashes{0};
  std::vector<unsigned long> sums(run_.n_slots());
  run_.with_workers([&] {
    run_.for_each_index(2000, [&](unsigned long i) {
      const unsigned long s = run_.slot();
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
  run_.with_workers([&] {
    run_.for_each_index(200, [&](unsigned long) {
      if (++outer_bodies > deepest) deepest = outer_bodies;
      run_.for_each_index(50, [&](unsigned long) {
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
  EXPECT_EQ(run_.with_workers([] { return std::string("done"); }), "done");
  const auto fail_at = [](unsigned long i) {
    if (i == 70) throw std::runtime_error("cell 70");
  };
  EXPECT_THROW(run_.with_workers([&] { run_.for_each_index(100, fail_at); }), std::runtime_error);
  std::unique_ptr<std::runtime_error> caught;
  try {
    run_.with_workers([&] {
      run_.for_each_index(100, [](unsigned long i) {
        if (i == 70) throw new std::runtime_error("row 70");
      });
    });
  } catch (std::runtime_error* thrown) {
    caught.reset(thrown);
  }
  ASSERT_TRUE(caught);
  EXPECT_STREQ(caught->what(), "row 70");
}

TEST_P(parallel_test, stops_at_the_next_index_once_it_is_cancelled) {
  std::atomic<unsigned long> calls{0};
  const auto work = [&](unsigned long) {
    ++calls;
    run_.cancel();
  };
  const auto loop = [&] { run_.with_workers([&] { run_.for_each_index(10000, work); }); };
  EXPECT_THAT(loop, testing::ThrowsMessage<std::runtime_error>("the run was cancelled"));
  EXPECT_LE(calls, run_.n_slots());
  run_.resume();
  EXPECT_NO_THROW(run_.with_workers([&] { run_.for_each_index(100, [](unsigned long) {}); }));
}

// oneTBB's limit is one for the process, and the least of all that are asked for at a time.
TEST(contexts, have_their_own_threads_however_few_another_one_has) {
  using std::chrono::steady_clock;
  run_context few, many;
  few.n_workers = 2;
  many.n_workers = 5;
  std::atomic<int> inside{0}, most{0};
  const auto end = steady_clock::now() + std::chrono::seconds(20);
  few.with_workers([&] {
    many.with_workers([&] {
      many.for_each_index(200, [&](unsigned long) {
        const int now = ++inside;
        for (int seen = most; seen < now && !most.compare_exchange_weak(seen, now);) {
        }
        while (most < 5 && steady_clock::now() < end) std::this_thread::yield();
        --inside;
      });
    });
  });
  EXPECT_EQ(most, 5);
}

std::string ends;
struct noted_end {
  char name;
  ~noted_end() {
    ends += name;
    if (name != '1') return;
    thread_local noted_end late{'3'};
    ends += late.name;
  }
};

TEST(thread_ends, destroy_the_youngest_objects_first_and_those_made_meanwhile) {
  std::thread([] {
    thread_local noted_end first{'1'};
    thread_local noted_end second{'2'};
    ends = {first.name, second.name, ':'};
  }).join();
  EXPECT_EQ(ends, "12:2133");
}

TEST(progress, is_counted_from_its_beginning_by_each_context) {
  run_context first, second;
  first.count(progress::unit::trees, 3);
  first.progress().begin(progress::unit::trees, 9);
  first.count(progress::unit::trees, 2);
  second.count(progress::unit::trees, 4);
  const progress::reading at = first.progress().read();
  EXPECT_EQ(at.done, 2);
  EXPECT_EQ(at.total, 9);
  EXPECT_EQ(second.progress().done(progress::unit::trees), 4);
}

}  // namespace
}  // namespace zel::util
