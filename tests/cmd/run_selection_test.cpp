// Feature selection from the command line, and the experiment that uses it.

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <sstream>

#include "program.h"
#include "support/scratch_folder.h"

namespace {

using testing::HasSubstr;

/// Sixty rows: the class hangs on `key`; `noise` and `more` say nothing.
class run_selection : public scratch_folder {
 protected:
  run_selection() {
    write("t.names",
          "noise,integer,continuous\nkey,string,discrete\nmore,string,discrete\nk,string,class\n");
    std::ostringstream rows;
    for (int i = 0; i < 60; ++i) {
      rows << i * 37 % 60 << ',' << "pq"[i / 2 % 2] << ',' << "uvw"[i % 3] << ','
           << (i / 2 % 2 == 0 ? "yes" : "no") << '\n';
    }
    write("t.data", rows.str());
  }
  static std::string log_of(const std::string& arguments) {
    const program_result run = run_program("-f t -seed 3 " + arguments);
    EXPECT_EQ(run.status, 0) << run.out;
    return run.out;
  }
};

TEST_F(run_selection, logs_the_search_and_builds_with_what_it_found) {
  for (const char* option : {"-sfs", "-sbe", "-dtsbe", "-as 0", "-as -1", "-as 1 -fslimit 60"}) {
    const std::string log = log_of(std::string(option) + " -hd 75 -t report -tb tree");
    // 45 rows train; 7 and 7 of 23 and 22 judge, as the integer part of 0.7 x 45 is 31.
    EXPECT_THAT(log, HasSubstr("\nFeature selection on 14 search cases\n"));
    EXPECT_THAT(log, HasSubstr("\n + search error: 0% with 1 of 3 attributes, from "));
    EXPECT_THAT(log, HasSubstr("\n + features selected: 1\n + time: "));
    EXPECT_THAT(log, HasSubstr("\nBuilding 1 tree(s) on 45 cases\n"));
    EXPECT_THAT(log, HasSubstr("\n + err: 0% on 15 cases that neither grew nor searched\n"));
    EXPECT_EQ(std::string(option).starts_with("-as"),
              log.find("\n + proven optimal\n") != std::string::npos);
    EXPECT_THAT(read("report"), HasSubstr("\nFEATURES SELECTED (size= 1) key\n"));
    EXPECT_EQ(run_program("-bt tree -nl -t again").status, 0);
    EXPECT_THAT(read("again"), HasSubstr("\nFEATURES SELECTED (size= 1) key\n"));
  }
}

TEST_F(run_selection, searches_anew_on_every_fold_and_under_every_number_of_workers) {
  EXPECT_THAT(log_of("-sfs -fo 3 -cv 1 3"), HasSubstr("\n + nf: 1 +- 0\n"));
  log_of("-dtsbe -tti 1 4 trace");
  std::istringstream trace(read("trace"));
  std::string started;
  for (std::string line; std::getline(trace, line);) {
    started += line.substr(0, line.find('\t', line.find('\t') + 1)) + ';';
  }
  EXPECT_EQ(started, "operation\tworkers;fs\t1;fs\t2;fs\t4;build\t1;build\t2;build\t4;");
}

TEST_F(run_selection, refuses_what_does_not_fit_together) {
  const struct {
    const char *arguments, *message;
  } rows[] = {
      {"-sfs -rep", "incompatible pruning strategy and feature selection"},
      {"-as2018 1 1 2 0", "Option -as2018 needs -cv with at least one fold"},
      {"-as2018 1 0 2 0 -cv 1 3", "Option -as2018 needs <x> and <y> above 0"},
      {"-as2018 1 1 inf 0 -cv 1 3", "Option -as2018 needs <x> and <y> above 0"},
      {"-as2018 1:-2 1 2 0 -cv 1 3", "<delta> must >= 0"},
      {"-as2018 1 1 2 0 -cv 1 61", "Cross validation <n> must not exceed the number of rows"},
      {"-as2018 1:1e999 1 2 0 -cv 1 3", "in -as2018, every delta of <a> must be finite"}};
  for (const auto& row : rows) {
    const program_result run = run_program(std::string("-f t -nl ") + row.arguments);
    EXPECT_EQ(run.status, 255);
    EXPECT_EQ(run.out, std::string(row.message) + '\n');
  }
}

TEST_F(run_selection, compares_subsets_and_forests_fold_by_fold) {
  const auto rows = experiment_in(log_of("-as2018 0:50 2 5 7 -cv 1 2 -fo 4"), "fold");
  std::string keys;
  for (auto row : rows) {
    EXPECT_EQ(row.size(), 42);
    keys += row["fold"] + "/" + row["minobj"] + "/" + row["as"] + " ";
    const bool none = row["as"] == "50";  // any tree will do, and the smallest tests nothing
    EXPECT_EQ(row["attributes"], none ? "" : "1");
    EXPECT_EQ(row["ratio"], none ? "0" : "0.333333");
    EXPECT_EQ(row["size"], none ? "1" : "3");
    EXPECT_EQ(row["error"], none ? "0.5" : "0");
    EXPECT_EQ(row["brute"] + row["dim"] + row["bestselected"] + row["bestcount"], "1311");
    EXPECT_EQ(row["besterr"] + row["rf_attributes"], "00,1,2");
    EXPECT_EQ(row["rffs_attributes"], row["attributes"]);
    EXPECT_NE(row["rf_size"], "0");
  }
  EXPECT_EQ(keys, "70/2/0 70/2/50 70/4/0 70/4/50 71/2/0 71/2/50 71/4/0 71/4/50 ");
  for (auto row : experiment_in(log_of("-as2018 0 2 2 0 -cv 1 2"), "fold")) {
    EXPECT_EQ(row["rf_size"] + row["rf_attributes"] + row["rffs_ebpgerr"], "000");
    EXPECT_EQ(row["rfsize"], row["size"]);  // a tree on the same attributes
  }
}

}  // namespace
