#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <atomic>
#include <sstream>
#include <thread>

#include "impls/growing/count_partition.h"
#include "impls/growing/growing_plan.h"
#include "impls/growing/told_branches.h"
#include "impls/model/dtree.h"
#include "impls/support/ensembles.h"
#include "impls/support/stock_tables.h"
#include "impls/support/tree_builder.h"
#include "impls/tables/mapped_column.h"
#include "support/scratch_folder.h"
#include "support/thread_team.h"
#include "zel/util/run_context.h"

using namespace orvik::impls;

namespace {

using zel::util::meeting_place;
using zel::util::thread_team;

/// A discrete column of 300 values and a continuous one, both with unknown cells.
std::unique_ptr<table> wide_table() {
  std::string rows;
  for (unsigned i = 0; i < 1500; ++i) {
    rows += i % 7 == 3 ? "?" : std::to_string(i * 37 % 300);
    rows += i % 11 == 5 ? ",?" : ',' + std::to_string(i * 13 % 50);
    rows += i % 2 ? ",a\n" : ",b\n";
  }
  return make_table("v,string,discrete\nx,integer,continuous\nk,string,class\n", rows);
}

void expect_told(const table& t, const split_test& test, const std::vector<counted_case>& cases) {
  const growing_plan plan(t, orvik::model::GAIN_RATIO, 2, nullptr);
  const column& tested = t.column_of(test.attribute);
  const std::size_t n = test.parts_in_two() ? 2 : tested.values()->size_of_known();
  std::string told;
  growing::told_branches::tell<counted_case>(plan, test, cases, told);
  const std::size_t size = told.size();
  told.append(8, '\0');
  std::string_view left = told;
  const growing::told_branches read(left, test, n, cases.size());
  EXPECT_EQ(left.size(), 8u);
  growing::partition_scratch expected, found;
  expected.start(test, n, t.n_class_codes());
  found.start(test, n, t.n_class_codes());
  const growing::told_codes codes = read.codes();
  bool unknown = false;
  for (const counted_case& c : cases) {
    const auto code = static_cast<std::uint32_t>(tested.get_row_index(c.row));
    unknown = unknown || code == k_unknown;
    ASSERT_EQ(codes[c.row], code == k_unknown ? 0 : test.branch_of(code) + 1);
    if (code == k_unknown) continue;
    growing::branch_part& part = expected.parts[test.branch_of(code)];
    part.lowest = std::min(part.lowest, code);
    part.highest = std::max(part.highest, code);
  }
  EXPECT_EQ(read.some_unknown(), unknown);
  read.give_ranges(found.parts);
  for (std::size_t b = 0; b < n; ++b) {
    EXPECT_EQ(found.parts[b].lowest, expected.parts[b].lowest);
    EXPECT_EQ(found.parts[b].highest, expected.parts[b].highest);
  }
  const std::size_t m = cases.size();  // two branches and unknown ones: five a byte
  EXPECT_EQ(size, 1 + (n > 2 ? (9 * m + 7) / 8 : 16 + (unknown ? (m + 4) / 5 : (m + 7) / 8)));
}

TEST(told_branches, are_those_of_the_test) {
  const auto t = wide_table();
  for (const unsigned step : {1U, 7U, 11U}) {  // without unknown values of the one, of the other
    std::vector<counted_case> cases;
    for (std::uint32_t row = 0; row < 1500; row += step) cases.push_back({row, 1, 1});
    expect_told(*t, split_test{0}, cases);
    expect_told(*t, split_test::one_value(0, 17), cases);
    expect_told(*t, split_test::cut_at(1, 20), cases);
  }
}

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

/// @return what work(rank, run) gives in each of n processes; `told` is what all of them told.
template <class Work>
std::vector<std::string> in_processes(unsigned long n, unsigned long& told, const Work& work) {
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
      grown[rank] = work(rank, run);
      if (rank == 0) told = run.steps.bytes + run.steps.cells;
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
    const auto work = [&](unsigned long, auto& run) { return grow(*t, s, run); };
    EXPECT_EQ(in_processes(n, told.emplace_back(), work), std::vector(n, expected));
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

// The cut comes first; the subtree of 900 cases is told, half of whose branches no case comes to.
TEST(shared_growing, tells_branches_without_cases) {
  std::string rows;
  for (unsigned i = 0; i < 1800; ++i) {
    const bool low = i < 900;
    const unsigned v = i % 20 + (low ? 0 : 20);
    rows += std::to_string(v) + ',' + std::to_string(i) + (!low ? ",c\n" : v % 2 ? ",a\n" : ",b\n");
  }
  const auto t = make_table("v,string,discrete\nx,integer,continuous\nk,string,class\n", rows);
  const sample s{"", false, false, orvik::model::PURE_GAIN_RATIO};
  zel::util::run_context alone;
  const std::string expected = grow(*t, s, alone);
  EXPECT_EQ(std::ranges::count(expected, '\n'), 43);
  unsigned long told = 0;
  const auto work = [&](unsigned long, auto& run) { return grow(*t, s, run); };
  EXPECT_EQ(in_processes(3, told, work), std::vector(3, expected));
}

class parted_tables : public scratch_folder {};

/// A tree, and what it says of its cases.
std::string fitted(const table& t, zel::util::run_context& run) {
  dtree model("m");
  model.use(run);
  model.set_pruning_strategy(orvik::model::NO_PRUNING);
  const std::unique_ptr<case_list> cases(t.get_all());
  model.build(&t, cases.get());
  double depth = 0;
  const double error = model.test(t, *cases, &depth)->err_misc();
  return text_of(model) + std::to_string(error) + ' ' + std::to_string(depth);
}

// Columns of all widths, flags, unknown values and weights: every process looks at its own columns.
TEST_F(parted_tables, give_the_tree_of_one_process_that_has_all_columns) {
  for (const bool weighted : {false, true}) {
    table_texts texts = mixed_texts(4000, 5, weighted);
    std::string names = "a,string,discrete\nb,string,discrete\nc,string,discrete\n" + texts.names;
    std::string rows, line;
    std::istringstream lines(texts.data);
    for (unsigned i = 0; std::getline(lines, line); ++i) {
      for (const unsigned of : {3U, 5U, 7U}) rows += i / 9 % of == 0 ? "n," : "y,";
      rows += line + '\n';
    }
    const auto t = make_table(names, rows);
    t->write_mapped("t", zel::util::default_context());
    zel::util::run_context alone;
    const std::string expected = fitted(*t, alone);
    std::vector<unsigned long> told;
    for (const unsigned long n : {1UL, 3UL}) {
      std::vector<std::atomic<int>> looked_at(t->n_attributes());
      const auto work = [&](unsigned long, auto& run) {
        const auto own = table::open_mapped("t", "t");
        const std::string all = fitted(*own, run);
        for (unsigned a = 0; a < looked_at.size(); ++a) {
          const auto* const c = dynamic_cast<const mapped_column*>(&own->column_of(a));
          looked_at[a] += c == nullptr || c->is_checked();
        }
        return all;
      };
      EXPECT_EQ(in_processes(n, told.emplace_back(), work), std::vector(n, expected));
      EXPECT_THAT(std::vector<int>(looked_at.begin(), looked_at.end() - 1), testing::Each(1));
    }
    EXPECT_EQ(told[0], told[1]);
  }
}

}  // namespace
