// Pruning from the command line: the side set of a run, and the comparison of all strategies.

#include <gtest/gtest.h>

#include <algorithm>
#include <map>
#include <regex>
#include <sstream>

#include "program.h"
#include "support/scratch_folder.h"

namespace {

constexpr char k_strategies[] = "unp EBP EBPG EBPA PEP PEPG PEPA REP REPG REPA MEP MEPG MEPA";

/// Twenty rows of two classes, 12 and 8, which the size tells.
class run_pruning : public scratch_folder {
 protected:
  run_pruning() {
    write("t.names", "size,integer,continuous\ncolour,string,discrete\nkind,string,class\n");
    std::ostringstream rows;
    for (int i = 0; i < 20; ++i) {
      rows << i * 7 % 20 << ',' << "rgb"[i % 3] << ',' << (i * 7 % 20 < 12 ? "yes" : "no") << '\n';
    }
    write("t.data", rows.str());
  }

  static auto experiment(const std::string& arguments) {
    const program_result run = run_program("-f t -seed 1 " + arguments);
    EXPECT_EQ(run.status, 0) << run.out;
    return experiment_in(run.out, "ds");
  }
};

TEST_F(run_pruning, measures_every_strategy_on_every_fold_in_order) {
  std::ostringstream found, expected;
  for (auto& row : experiment("-sdm2012 2 -cv 1 5")) {
    found << row["fold"] << ' ' << row["type"] << '\n';
    EXPECT_EQ(row.size(), 11);
    EXPECT_EQ(row["ds"] + row["ite"], "t.names0");
  }
  for (int fold = 10; fold < 15; ++fold) {
    std::istringstream types(k_strategies);
    for (std::string type; types >> type;) expected << fold << ' ' << type << '\n';
  }
  EXPECT_EQ(found.str(), expected.str());
}

TEST_F(run_pruning, limits_the_depth_of_trees_pruned_on_a_side_set_only) {
  std::map<std::string, int> largest;
  for (auto& row : experiment("-sdm2012 0 -cv 1 4 -depth 0 -m 1")) {
    largest[row["type"]] = std::max(largest[row["type"]], std::stoi(row["size"]));
  }
  EXPECT_GT(largest["unp"], 1);
  for (const char* type : {"REP", "REPG", "REPA", "MEP", "MEPG", "MEPA"}) {
    EXPECT_EQ(largest[type], 1) << type;
  }
}

TEST_F(run_pruning, refuses_folds_that_an_experiment_cannot_have) {
  const struct {
    const char *arguments, *message;
  } rows[] = {{"-sdm2012 0", "Option -sdm2012 needs -cv with at least one fold"},
              {"-sdm2012 0 -cv 1 21", "Cross validation <n> must not exceed the number of rows"}};
  for (const auto& row : rows) {
    const program_result run = run_program(std::string("-f t -nl ") + row.arguments);
    EXPECT_EQ(run.status, 255);
    EXPECT_EQ(run.out, std::string(row.message) + '\n');
  }
}

/// The lines of a log that tell what was done on how many cases.
std::string steps_of(const std::string& log) {
  std::string steps;
  const std::regex step("Building [^\n]*|Pruning tree[^\n]*|Too few[^\n]*");
  for (std::sregex_iterator i(log.begin(), log.end(), step), end; i != end; ++i) {
    steps += i->str() + '\n';
  }
  return steps;
}

TEST_F(run_pruning, tells_which_cases_it_prunes_on) {
  // 8 of 12 and 5 of 8 cases; 0.7 as a double is a little less than 0.7, so 14 are not reached.
  const std::string on_side_set =
      "Building 1 tree(s) on 13 cases\nPruning tree using 7 pruning cases\n";
  const std::string on_training =
      "Building 1 tree(s) on 20 cases\nPruning tree using training set\n";
  const struct {
    std::string arguments, steps;
  } rows[] = {{"-repa", on_side_set},
              {"-mep", on_side_set},
              {"-mepg -ba 3", std::regex_replace(on_side_set, std::regex("1 tree"), "3 tree")},
              {"-pepg", on_training},
              {"-ebpa", on_training},
              {"-np", "Building 1 tree(s) on 20 cases\n"},
              {"-rep -hf 5",
               "Too few cases to set some aside for pruning\n"
               "Building 1 tree(s) on 1 cases\nPruning tree using training set\n"}};
  for (const auto& row : rows) {
    const program_result run = run_program("-f t " + row.arguments);
    EXPECT_EQ(run.status, 0) << run.out;
    EXPECT_EQ(steps_of(run.out), row.steps) << row.arguments;
  }
}

TEST_F(run_pruning, draws_the_side_set_but_under_a_trace) {
  const auto report = [](const std::string& arguments) {
    EXPECT_EQ(run_program("-f t -nl -t report -m 1 -rep " + arguments).status, 0);
    return read("report");
  };
  const std::string traced = report("-tti 1 1 trace -seed 1");
  bool drawn = false;
  for (int seed = 1; seed <= 8; ++seed) {
    const std::string s = "-seed " + std::to_string(seed);
    EXPECT_EQ(report("-tti 1 1 trace " + s), traced);
    drawn = drawn || report(s) != traced;
  }
  EXPECT_TRUE(drawn);
}

}  // namespace
