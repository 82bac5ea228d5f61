#include <gtest/gtest.h>

#include <atomic>
#include <barrier>
#include <thread>

#include "impls/growing/growing_plan.h"
#include "impls/support/stock_tables.h"
#include "impls/support/tree_builder.h"
#include "zel/util/run_context.h"

using namespace orvik::impls;

namespace {

/// What the members of a team of threads have in common.
struct meeting_place {
  explicit meeting_place(unsigned long n) : told(n), all_here(static_cast<std::ptrdiff_t>(n)) {}
  std::vector<std::string> told;
  std::barrier<> all_here;
  std::atomic<unsigned long> next = 0;
};

class thread_team : public zel::util::team {
 public:
  thread_team(meeting_place& place, unsigned long rank) : place_(place), rank_(rank) {}
  unsigned long size() const override { return place_.told.size(); }
  unsigned long rank() const override { return rank_; }
  unsigned long claim() override { return place_.next++; }

 private:
  std::vector<std::string> gather(const std::string& mine) override {
    place_.told[rank_] = mine;
    place_.all_here.arrive_and_wait();
    std::vector<std::string> all = place_.told;
    if (rank_ == 0) place_.next = 0;
    place_.all_here.arrive_and_wait();
    return all;
  }
  meeting_place& place_;
  unsigned long rank_;
};

struct sample {
  const char* name;
  bool weighted, unknown;
  orvik::model::split_type type = orvik::model::GAIN_RATIO;
  unsigned long max_depth = k_no_depth_limit;
  bool one_value = false;
};
class shared_growing_of : public testing::TestWithParam<sample> {};

std::string grow(const table& t, const sample& s, zel::util::run_context& run) {
  orvik::growth how;
  how.one_value = s.one_value;
  const growing_plan plan(t, s.type, 2, nullptr, run, how);
  const std::unique_ptr<case_list> cases(t.get_all());
  decision_tree tree;
  run.with_workers([&] { tree.build(plan, cases.get(), s.max_depth, nullptr); });
  return exact_text_of(tree, t);
}

/// @return what each of n processes grows; `told` is what all of them told.
std::vector<std::string> grow_together(unsigned long n, const table& t, const sample& s,
                                       unsigned long& told) {
  meeting_place place(n);
  std::vector<std::string> grown(n);
  std::vector<std::thread> processes;
  for (unsigned long rank = 0; rank < n; ++rank) {
    processes.emplace_back([&, rank] {
      thread_team team(place, rank);
      zel::util::run_context run;
      run.n_workers = 1 + rank % 2;
      run.companions = &team;
      run.steps.wanted = true;
      grown[rank] = grow(t, s, run);
      if (rank == 0) told = run.steps.bytes;
    });
  }
  for (std::thread& each : processes) each.join();
  return grown;
}

TEST_P(shared_growing_of, gives_all_processes_the_tree_of_one) {
  const sample& s = GetParam();
  const auto t = mixed_table(5000, 3, s.weighted, s.unknown);
  zel::util::run_context alone;
  const std::string expected = grow(*t, s, alone);
  std::vector<unsigned long> told;
  for (const unsigned long n : {1UL, 3UL}) {
    for (const std::string& grown : grow_together(n, *t, s, told.emplace_back())) {
      EXPECT_EQ(grown, expected) << n;
    }
  }
  EXPECT_EQ(told, std::vector(told.size(), told[0]));
  EXPECT_GT(told[0], 5000 / 8);  // a bit a case and level
}

INSTANTIATE_TEST_SUITE_P(
    tables, shared_growing_of,
    testing::Values(sample{"plain", false, false}, sample{"unknown", false, true},
                    sample{"weighted", true, true, orvik::model::INFORMATION_GAIN},
                    sample{"weighted_and_known", true, false},
                    sample{"shallow", false, true, orvik::model::PURE_GAIN_RATIO, 3},
                    sample{"one_value", true, true, orvik::model::GAIN_RATIO, 6, true}),
    [](const auto& row) { return row.param.name; });

}  // namespace
