// Input too large to be used: the run ends with status 255 and one line that says what is wrong, in
// bounded memory.

#include <gtest/gtest.h>

#include <string>

#include "program.h"
#include "support/scratch_folder.h"

namespace {

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
};

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

}  // namespace
