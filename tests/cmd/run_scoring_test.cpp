// A trained tree on files of rows, from the command line to the score file and the report.

#include <gtest/gtest.h>

#include "program.h"
#include "support/scratch_folder.h"

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
  write("rows", "p;1;a\n");
  EXPECT_NE(run("-ft rows -tstd -oerr").out.find("\nR: nan\nRINT: nan\nG: nan\n"),
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
  write("rows", "p;1;a\n");
  const struct {
    const char *arguments, *message;
  } rows[] = {{"-ft empty", "Reading test data: there must be at least one row of data\n"},
              {"-fs rows -s missing/out", "Cannot open/create missing/out\n"},
              {"-fs rows -s /dev/full", "Cannot write to /dev/full\n"}};
  for (const auto& row : rows) {
    const program_result result = run(row.arguments);
    EXPECT_EQ(result.out, row.message) << row.arguments;
    EXPECT_EQ(result.status, 255) << row.arguments;
  }
  EXPECT_EQ(run("-fs empty -s out").status, 0);
  EXPECT_EQ(read("out"), "");
}

// Before the table is loaded, and before any file is opened for writing.
TEST_F(run_scoring, says_first_that_a_file_cannot_be_read) {
  std::filesystem::create_directory("folder");
  write("plain.gz", "p;1;a\n");
  const struct {
    const char *file, *reason;
  } rows[] = {{"missing", " not found or inaccessible"},
              {"folder", " cannot be read: Is a directory"},
              {"plain.gz", " is not in gzip format"}};
  for (const char* option : {" -ft ", " -s scores -fs ", " -fm ", " -fd "}) {
    for (const auto& [file, reason] : rows) {
      write("scores", "older");
      write("text", "older");
      const program_result result =
          run_program(std::string("-f t -sep ';' -t text") + option + file);
      EXPECT_EQ(result.out, std::string("File: ") + file + reason + '\n') << option;
      EXPECT_EQ(result.status, 255);
      EXPECT_EQ(read("scores") + read("text"), "olderolder") << option << file;
    }
  }
}

TEST_F(run_scoring, leaves_rows_alone_that_it_need_not_or_must_not_look_at) {
  EXPECT_EQ(run("-fs missing").out, "No score output file provided!\n");
  EXPECT_EQ(run("-sdm2012 1 -cv 1 2 -ft missing -fs missing -s out").status, 0);
  ASSERT_EQ(std::system("mkfifo pipe; cat t.data > pipe &"), 0);
  EXPECT_EQ(run("-fs pipe -s out").status, 0);
  EXPECT_EQ(read("out").substr(0, 8), "a;1\na;1\n");
  EXPECT_EQ(run("-ft /dev/stdin < t.data").status, 0);
}

// The rows go while the tree is grown: that of the pipe's reader ends with the table.
TEST_F(run_scoring, keeps_older_scores_until_there_are_rows) {
  write("scores", "older");
  write("rows", "p\n");
  ASSERT_EQ(std::system("mkfifo pipe; (exec 3> pipe; rm rows; cat t.data >&3) &"), 0);
  EXPECT_EQ(run("-fd pipe -fs rows -s scores").out, "File: rows not found or inaccessible\n");
  EXPECT_EQ(read("scores"), "older");
}

}  // namespace
