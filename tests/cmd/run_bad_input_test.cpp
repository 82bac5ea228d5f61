// Input that cannot be used: whatever it is, the run ends with status 255 and one line that says
// what is wrong, in bounded memory. The line is the same for any number of workers.

#include <gtest/gtest.h>

#include <string>

#include "gzip_text.h"
#include "program.h"
#include "support/scratch_folder.h"

namespace {

using namespace std::string_literals;

#if defined(__SANITIZE_ADDRESS__) || defined(__SANITIZE_THREAD__)
constexpr bool k_limits_work = false;  // sanitizers reserve address space by the terabyte
#else
constexpr bool k_limits_work = true;
#endif

constexpr char k_four_gigabytes[] = "ulimit -v 4000000;";

constexpr char k_names[] =
    "size,integer,continuous\n"
    "colour,string,discrete\n"
    "weight,double,weights\n"
    "kind,string,class\n";
constexpr char k_data[] = "1,red,1,yes\n2,?,0.5,no\n3,blue,2,yes\n";

/// A folder with a good table: t.names and t.data.
class bad_input : public scratch_folder {
 protected:
  bad_input() {
    write("t.names", k_names);
    write("t.data", k_data);
  }

  static void expect_line(const std::string& arguments, const std::string& line,
                          const std::string& limits = "") {
    const program_result run = run_program("-nl " + arguments + " 2>&1", limits);
    EXPECT_EQ(run.out.substr(0, 500), line + '\n');
    EXPECT_EQ(run.status, 255);
  }
  static void expect_line_for_any_workers(const std::string& arguments, const std::string& line) {
    for (const char* workers : {" -tt 1", " -tt 2", " -tt 7"}) {
      SCOPED_TRACE(workers);
      expect_line(arguments + workers, line);
    }
  }
};

TEST_F(bad_input, is_not_what_the_other_tests_begin_with) {
  const program_result run = run_program("-nl -f t 2>&1");
  EXPECT_EQ(run.out, "");
  EXPECT_EQ(run.status, 0);
}

TEST_F(bad_input, that_cannot_be_read_is_named) {
  constexpr char missing[] = " not found or inaccessible";
  constexpr char no_gzip[] = " is not in gzip format";
  constexpr char cut[] = " cannot be read: truncated gzip data";
  constexpr char folder[] = " cannot be read: Is a directory";
  const struct {
    const char *file, *reason;
  } rows[] = {{"missing", missing},
              {"missing/t", missing},
              {"t.data/t", missing},
              {"loop", missing},
              {"missing.gz", missing},
              {"folder", folder},
              {"folder.gz", folder},
              {"plain.gz", no_gzip},
              {"empty.gz", no_gzip},
              {"cut.gz", cut},
              {"header.gz", cut},
              {"damaged.gz", " cannot be read: damaged gzip data: incorrect data check"}};
  std::filesystem::create_directory("folder");
  std::filesystem::create_directory("folder.gz");
  std::filesystem::create_symlink("loop", "loop");
  write("empty.gz", "");
  for (const std::string option : {"-fm", "-fd"}) {
    const std::string content = option == "-fm" ? k_names : k_data;
    std::string packed = gzip_text(content);
    write("plain.gz", content);
    write("cut.gz", packed.substr(0, packed.size() - 9));
    write("header.gz", packed.substr(0, 6));
    packed[packed.size() - 5] ^= 1;  // in the checksum
    write("damaged.gz", packed);
    for (const auto& row : rows) {
      expect_line_for_any_workers("-f t " + option + ' ' + row.file,
                                  "File: "s + row.file + row.reason);
    }
  }
}

TEST_F(bad_input, of_a_hundred_megabytes_in_one_line_is_quoted_in_part) {
  const std::string line(100'000'000, '\x01');
  write("t.data", "1,red,1,yes\n2," + line + ",1\n");
  const std::string shown = "2," + std::string(198, '?');
  expect_line("-f t -tt 2", "bad row format (row 2): " + shown,
              k_limits_work ? k_four_gigabytes : "");
  write("t.names", line + "\n");
  expect_line("-f t", "Reading metadata: bad row format (row 1): " + std::string(200, '?'));
}

TEST_F(bad_input, of_a_long_value_or_name_is_quoted_at_both_ends) {
  const std::string value(1'000'000, '1'), end(200, '1');
  const std::string after = ": not a double (row 2, column weight)";
  write("t.data", "1,red,1,yes\n2,red,x" + value + ",no\n");
  expect_line("-f t", "x" + end.substr(1) + " ... " + end.substr(after.size()) + after);
  const std::string before = "invalid o_set type = ";
  write("t.names", "size," + value + ",class\n");
  expect_line("-f t", before + end.substr(before.size()) + " ... " + end);
}

TEST_F(bad_input, without_end_is_given_up) {
  if (!k_limits_work) GTEST_SKIP() << "needs a limit on memory";
  expect_line("-fm t.names -fd /dev/zero -tt 2", "stream: out of big memory", k_four_gigabytes);
}

TEST_F(bad_input, larger_than_memory_is_given_up) {
  if (!k_limits_work) GTEST_SKIP() << "needs a limit on memory";
  expect_line("-fm t.names -fd /dev/stdin -tt 2", "out of memory",
              "ulimit -v 200000; yes 1,red,1,yes 2>/dev/null |");
}

TEST_F(bad_input, ends_the_line_of_a_log_first) {
  write("t.data", "1,red\n");
  const program_result run = run_program("-f t 2>&1");
  EXPECT_NE(run.out.find("\nbad row format (row 1): 1,red\n"), std::string::npos) << run.out;
  EXPECT_EQ(run.status, 255);
}

TEST_F(bad_input, leaves_a_device_that_takes_no_output_named) {
  for (const std::string option : {"-t", "-x", "-d", "-pmml", "-json"}) {
    expect_line("-f t " + option + " /dev/full", "Cannot write to /dev/full");
  }
  expect_line("-f t -t out", "Cannot write to out", "ulimit -f 0;");
  const program_result run = run_program("-nl -f t -tstd 2>&1 >/dev/full");
  EXPECT_EQ(run.out, "Cannot write to standard output\n");
  EXPECT_EQ(run.status, 255);
}

}  // namespace
