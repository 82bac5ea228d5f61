// Input that cannot be used: whatever it is, the run ends with status 255 and one line that says
// what is wrong, in bounded memory. The line is the same for any number of workers.

#include <gtest/gtest.h>
#include <unistd.h>

#include <string>

#include "gzip_text.h"
#include "program.h"
#include "scratch_folder.h"

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

TEST_F(bad_input, in_a_row_of_data_is_shown_with_its_place) {
  const struct {
    const char* name;
    std::string data, line;
  } rows[] = {
      {"too few fields", "1,red,1,yes\n2,red,1\n", "bad row format (row 2): 2,red,1"},
      {"too many fields", "1,red,1,yes,\n2,red,1,no,5\n", "bad row format (row 2): 2,red,1,no,5"},
      {"last row cut short", "1,red,1,yes\n2,r", "bad row format (row 2): 2,r"},
      {"empty row", "1,red,1,yes\n\n3,red,1,no\n", "bad row format (row 2): "},
      {"empty last value", "1,red,1,yes\n2,red,1,\n", "bad row format (row 2): 2,red,1,"},
      {"another separator", "1;red;1;yes\n", "bad row format (row 1): 1;red;1;yes"},
      {"NUL byte", "1,red,1,yes\n2,r\0d,1,no\n"s, "bad row format (row 2): 2,r?d,1,no"},
      {"only a NUL byte", "\0\n"s, "bad row format (row 1): ?"},
      {"control bytes", "1,r\x1b[2J\t\r,\x7f\r\n", "bad row format (row 1): 1,r?[2J??,?"},
      {"no integer", "1,red,1,yes\n2.5,red,1,no\n", "2.5: not an int (row 2, column size)"},
      {"no value", "1,red,1,yes\n,red,1,no\n", ": not an int (row 2, column size)"},
      {"large integer", "2147483648,red,1,yes\n", "str2int:: overflow (row 1, column size)"},
      {"no number", "1,red,1,yes\n2,red,1e,no\n", "1e: not a double (row 2, column weight)"},
      {"no finite number", "1,red,inf,yes\n", "inf: not a double (row 1, column weight)"},
      {"large number", "1,red,1e999,yes\n", "1e999: not a double (row 1, column weight)"},
      {"negative weight", "1,red,1,yes\n2,red,-1,no\n",
       "-1: negative value in a column of weights (row 2, column weight)"},
      {"unknown weight", "1,red,?,yes\n",
       "[o_set::insert()] called with unadmitted null value (row 1, column weight)"},
      {"unknown class", "1,red,1,yes\n2,red,1, ? \n",
       "[o_set::insert()] called with unadmitted null value (row 2, column kind)"},
      {"the first of several", "1,red,1,yes\n2,red,x,?\nz\n",
       "x: not a double (row 2, column weight)"},
  };
  for (const auto& row : rows) {
    SCOPED_TRACE(row.name);
    write("t.data", row.data);
    expect_line_for_any_workers("-f t", row.line);
  }
}

TEST_F(bad_input, in_the_table_as_a_whole_is_named) {
  constexpr char weights[] =
      "Weights column 'weight' requires a positive and finite sum of weights";
  constexpr char classes[] = "there must be at least two class values";
  const struct {
    const char* name;
    std::string data, line;
  } rows[] = {
      {"one class", "1,red,1,yes\n2,red,1,yes\n", classes},
      {"no row", "", classes},
      {"no weight", "1,red,0,yes\n2,red,0.0,no\n", weights},
      {"too much weight", "1,red,1e308,yes\n2,red,1e308,no\n", weights},
      {"too little weight", "1,red,1e-320,yes\n2,red,0,no\n", weights},
  };
  for (const auto& row : rows) {
    SCOPED_TRACE(row.name);
    write("t.data", row.data);
    expect_line_for_any_workers("-f t", row.line);
  }
}

TEST_F(bad_input, for_a_column_of_declared_values_is_refused) {
  write("t.names", "grade,ostring:low;high,continuous\nkind,ostring:no;yes,class\n");
  const struct {
    const char *data, *line;
  } rows[] = {
      {"low,yes\nhi,no\n", "o_set::insert() order string not found (row 2, column grade)"},
      {"low,yes\n?,maybe\n", "o_set::insert() order string not found (row 2, column kind)"},
      {"", "there must be at least one row of data"},
  };
  for (const auto& row : rows) {
    SCOPED_TRACE(row.line);
    write("t.data", row.data);
    expect_line_for_any_workers("-f t", row.line);
  }
}

TEST_F(bad_input, in_the_metadata_is_named) {
  constexpr char null_role[] = "Null set of column values can only be used for ignore column type";
  const struct {
    std::string names, line;
  } rows[] = {
      {"a,integer\n", "Reading metadata: bad row format (row 1): a,integer"},
      {"a,string,class,x\n", "Reading metadata: bad row format (row 1): a,string,class,x"},
      {"a,string,class\n\n", "Reading metadata: bad row format (row 2): "},
      {"a,str\0ing,class\n"s, "Reading metadata: bad row format (row 1): a,str?ing,class"},
      {"a,string,class,\nb, string,discrete", "invalid o_set type =  string"},
      {"a,text,class\n", "invalid o_set type = text"},
      {"a,ostring:x;y;x,class\n", "[o_set::enumerate()] called with repeated value x"},
      {"a,ostring:x;?,class\n", "[o_set::enumerate()] called with unadmitted null value"},
      {"a,string,Class\n", "Unknown column type: Class"},
      {"a,string,\n", "Reading metadata: bad row format (row 1): a,string,"},
      {"a,string,continuous\n", "Continuous column 'a' requires a numeric/ordered data type"},
      {"a,null,discrete\n", null_role},
      {"a,null,class\n", null_role},
      {"", "missing class attribute"},
      {"a,string,discrete\n", "missing class attribute"},
      {"a,string,class\nb,string,class\n", "too many class attributes"},
      {"a,string,class\nb,x,weights\nc,float,weights\n", "too many weights attributes"},
  };
  for (const auto& row : rows) {
    SCOPED_TRACE(row.names);
    write("t.names", row.names);
    expect_line("-f t", row.line);
  }
}

// Two megabytes of rows make a block, so several workers meet several errors.
TEST_F(bad_input, far_into_the_file_is_reported_for_the_first_bad_row) {
  std::string data;
  for (int row = 1; row <= 400000; ++row) {
    const bool bad = row == 260001 || row == 300000 || row == 399999;
    data.append(bad ? "x" : "1").append(row % 2 ? ",green,1,yes\n" : ",red,1,no\n");
  }
  write("t.data", data);
  expect_line_for_any_workers("-f t", "x: not an int (row 260001, column size)");
  write("t.data.gz", gzip_text(data));
  expect_line_for_any_workers("-fm t.names -fd t.data.gz",
                              "x: not an int (row 260001, column size)");
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

TEST_F(bad_input, without_permission_is_named) {
  std::filesystem::permissions("t.data", std::filesystem::perms::none);
  if (access("t.data", R_OK) == 0) GTEST_SKIP() << "this user may read everything";
  expect_line("-f t", "File: t.data not found or inaccessible");
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

TEST_F(bad_input, with_too_many_classes_is_refused) {
  std::string data;
  for (int row = 0; row < 70000; ++row) data += "1,red,1,k" + std::to_string(row) + '\n';
  write("t.data", data);
  expect_line_for_any_workers("-f t",
                              "Class column kind with too many distinct values. Recompil with "
                              "larger class_type data type.");
}

TEST_F(bad_input, ends_the_line_of_a_log_first) {
  write("t.data", "1,red\n");
  const program_result run = run_program("-f t 2>&1");
  EXPECT_NE(run.out.find("\nbad row format (row 1): 1,red\n"), std::string::npos) << run.out;
  EXPECT_EQ(run.status, 255);
}

TEST_F(bad_input, leaves_a_device_that_takes_no_output_named) {
  expect_line("-f t -t /dev/full", "Cannot write to /dev/full");
  expect_line("-f t -t out", "Cannot write to out", "ulimit -f 0;");
  const program_result run = run_program("-nl -f t -tstd 2>&1 >/dev/full");
  EXPECT_EQ(run.out, "Cannot write to standard output\n");
  EXPECT_EQ(run.status, 255);
}

}  // namespace
