// A trained tree on files of rows, from the command line to the score file and the report.

#include <gtest/gtest.h>

#include "program.h"
#include "scratch_folder.h"

namespace {

/// A folder with t.names and t.data: p is a, q is b, r is mostly b; the weights sum to 20.
class run_scoring : public scratch_folder {
 protected:
  run_scoring() {
    write("t.names", "x;string;discrete\nw;double;weights\nk;string;class\n");
    write("t.data", "p;2;a\np;2;a\np;2;a\nq;2;b\nq;2;b\nq;2;b\nr;2;b\nr;2;b\nr;2;b\nr;2;a\n");
  }

  static program_result run(const std::string& arguments) {
    return run_program("-f t -sep ';' -np -tt 3 -nl " + arguments);
  }
};

TEST_F(run_scoring, writes_a_line_a_row) {
  write("rows", "p\nq;\nr;0;?\n?;-1;b\n");
  EXPECT_EQ(run("-fs rows -s out").out, "");
  EXPECT_EQ(read("out"), "a;1\nb;1\nb;0.75\nb;0.6\n");
  EXPECT_EQ(run("-fs rows -s out -prob").status, 0);
  EXPECT_EQ(read("out"), "a;1;1;0\nb;1;0;1\nb;0.75;0.25;0.75\nb;0.6;0.4;0.6\n");
  EXPECT_EQ(run("-fs rows").out, "No score output file provided!\n");
}

TEST_F(run_scoring, reports_the_errors_on_a_test_file) {
  write("rows", "p;1;a\nq;0.5;a\nr;2.5;b\n");
  const std::string out = run("-ft rows -tstd -oerr").out;
  const std::string report =
      "MISCLASSIFICATION on test file: 12.5% of 4 cases. \n"
      "?\ta\tb\tpredicted(cols)/actual(rows)\n"
      "0\t0\t0\t?\n0\t1\t0.5\ta\n0\t0\t2.5\tb\nORDINAL ERROR:\nMAE: 0.125\n";
  const std::size_t at = out.find(report);
  ASSERT_NE(at, std::string::npos) << out;
  EXPECT_LT(at, out.find("DECISION TREE"));
  EXPECT_NE(run_program("-f t -sep ';' -ft rows").out.find("\nTesting data\n + rows: 3 time: "),
            std::string::npos);
}

TEST_F(run_scoring, takes_unseen_values_as_unknown_and_logs_them) {
  write("rows", "s;1;c\ns;1;b\n");
  EXPECT_EQ(run("-ft rows").out, "Reading test data: (row 1): value s for column x not admitted\n");
  const program_result both =
      run_program("-f t -sep ';' -np -ft rows -fs rows -s out -unseen -tstd");
  EXPECT_EQ(both.status, 0);
  EXPECT_EQ(read("out"), "b;0.6\nb;0.6\n");
  for (const char* line : {"\n + 2 values unseen in column x, taken as unknown\n + 1 values unseen "
                           "in column k, taken as unknown\n",
                           "\n0\t0\t1\t?\n", "Scoring data\n time: "}) {
    EXPECT_NE(both.out.find(line), std::string::npos) << line << both.out;
  }
}

TEST_F(run_scoring, keeps_the_lines_before_a_bad_row) {
  write("rows", "p\nq\nzz\np\n");
  const program_result result = run("-fs rows -s out");
  EXPECT_EQ(result.out, "Reading score data: (row 3): value zz for column x not admitted\n");
  EXPECT_EQ(result.status, 255);
  EXPECT_EQ(read("out"), "a;1\nb;1\n");
}

TEST_F(run_scoring, ends_with_one_line_for_a_file_it_cannot_use) {
  write("empty", "");
  write("plain.gz", "p;1;a\n");
  write("rows", "p;1;a\n");
  const struct {
    const char *arguments, *message;
  } rows[] = {{"-ft missing", "File: missing not found or inaccessible\n"},
              {"-fs missing -s out", "File: missing not found or inaccessible\n"},
              {"-ft empty", "Reading test data: there must be at least one row of data\n"},
              {"-ft plain.gz", "File: plain.gz is not in gzip format\n"},
              {"-fs rows -s missing/out", "Cannot open/create missing/out\n"},
              {"-fs rows -s rows",
               "Cannot open/create rows: it is the same file as the score data file rows\n"},
              {"-fs rows -s /dev/full", "Cannot write to /dev/full\n"}};
  for (const auto& row : rows) {
    const program_result result = run(row.arguments);
    EXPECT_EQ(result.out, row.message) << row.arguments;
    EXPECT_EQ(result.status, 255) << row.arguments;
  }
  EXPECT_EQ(run("-fs empty -s out").status, 0);
  EXPECT_EQ(read("out"), "");
}

}  // namespace
