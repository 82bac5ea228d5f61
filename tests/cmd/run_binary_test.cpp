// Runs that save tables and models and go on from them.
#include <gtest/gtest.h>

#include "program.h"
#include "support/scratch_folder.h"

namespace {

class binary_runs : public scratch_folder {
 protected:
  const std::string golf = ORVIK_ROOT "/examples/golf";
};

TEST_F(binary_runs, go_on_from_a_saved_table_and_a_saved_tree) {
  ASSERT_EQ(run_program("-f " + golf + " -nl -t text -db table -tb model").status, 0);
  ASSERT_EQ(run_program("-bd table -nl -t from_table -db table2").status, 0);
  const auto loaded = run_program("-bt model -lstd -t from_tree -tb model2 -ft " + golf +
                                  ".data -fs " + golf + ".data -s scores");
  EXPECT_EQ(loaded.status, 0) << loaded.out;
  EXPECT_NE(loaded.out.find("\nTree loaded\nTree saved\n"), std::string::npos) << loaded.out;
  EXPECT_EQ(read("from_table"), read("text"));
  EXPECT_NE(read("from_tree").find("MISCLASSIFICATION on test file: 0% of 14 cases."),
            std::string::npos);
  EXPECT_EQ(read("table2"), read("table"));
  EXPECT_EQ(read("model2"), read("model"));
  EXPECT_EQ(read("scores").substr(0, 3), "no,");
}

TEST_F(binary_runs, name_what_cannot_be_read) {
  write("text", "no table\n");
  ASSERT_EQ(run_program("-f " + golf + " -nl -db table -tb model").status, 0);
  ASSERT_EQ(std::system("head -c 300 model > cut; gunzip < model > plain; printf x >> plain"), 0);
  const struct {
    const char* arguments;
    const char* out;
  } rows[] = {
      {"-nl -bd text", "File text: not binary format\n"},
      {"-nl -bd model", "File model: not binary format\n"},
      {"-nl -bd none", "File none: not binary format\n"},
      {"-nl -bt none", "File: none: No such file or directory\n"},
      {"-nl -bt cut", "File: cut holds no binary model: truncated gzip data\n"},
      {"-nl -bt model -cv 1 10", "Option -cv needs a table, and with -bt there is none\n"},
      {"-nl -bt model -hs 70", "Option -hs needs a table, and with -bt there is none\n"},
  };
  for (const auto& [arguments, out] : rows) {
    const auto run = run_program(arguments);
    EXPECT_EQ(run.status, 255) << arguments;
    EXPECT_EQ(run.out, out);
  }
  EXPECT_EQ(run_program("-nl -bt plain").status, 255) << "more than a model";
}

TEST_F(binary_runs, lose_no_older_file) {
  write("table", "older table");
  write("model", "older model");
  const std::string no_room = "ulimit -f 0;";
  EXPECT_EQ(run_program("-f " + golf + " -nl -db table", no_room).out,
            "File table: error with binary output\n");
  EXPECT_EQ(run_program("-f " + golf + " -nl -tb model", no_room).out,
            "File model: error with binary output\n");
  EXPECT_EQ(read("table") + read("model"), "older tableolder model");
  const std::filesystem::directory_iterator all(folder_);
  EXPECT_EQ(std::distance(begin(all), end(all)), 2);
  EXPECT_EQ(run_program("-f " + golf + " -nl -tb /dev/full").out,
            "File /dev/full: error with binary output\n");
}

// One form of the model that cannot be written costs itself only.
TEST_F(binary_runs, write_all_that_can_be_written_before_they_tell_an_error) {
  write("t.names", "x,string,discrete\nk,string,class\n");
  write("t.data", "a\1,y\na\1,y\nb,n\nb,n\n");  // a control byte, which XML cannot hold
  write("bad", "b,n\nc,n\n");
  const std::string forms =
      "-f t -nl -fs t.data -tb tree -json json -d dot -x xml -t text -s scores";
  const char* const names[] = {"json", "dot", "xml", "text", "scores"};
  ASSERT_EQ(run_program(forms).status, 0);
  std::string whole;
  for (const char* name : names) whole += read(name);
  const struct {
    const char *further, *out;
  } rows[] = {
      {" -pmml pmml", "PMML output: a name or a value has a character that XML cannot hold\n"},
      {" -tb /dev/full -ft bad", "File /dev/full: error with binary output\n"},  // the first error
      {" -ft bad", "Reading test data: (row 2): value c for column x not admitted\n"}};
  for (const auto& [further, out] : rows) {
    for (const char* name : names) std::filesystem::remove(name);
    std::filesystem::remove("tree");
    const program_result run = run_program(forms + further);
    EXPECT_EQ(run.out, out);
    EXPECT_EQ(run.status, 255);
    std::string written;
    for (const char* name : names) written += read(name);
    EXPECT_EQ(written, whole) << further;
    EXPECT_EQ(std::filesystem::exists("tree"),
              std::string(further).find("-tb") == std::string::npos);
    EXPECT_EQ(read("pmml"), "") << "half a document";
  }
}

TEST_F(binary_runs, write_into_pipes) {
  ASSERT_EQ(std::system("mkfifo pipe; cat pipe > model &"), 0);
  ASSERT_EQ(run_program("-f " + golf + " -nl -tb pipe -t text").status, 0);
  ASSERT_EQ(run_program("-bt model -nl -t from_tree", "sleep 0.2;").status, 0);
  EXPECT_EQ(read("from_tree"), read("text"));
}

}  // namespace
