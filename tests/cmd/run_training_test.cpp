// The main job from files to report: a table of every type and role, with unknown values, weights
// and ordered values, trained in every way that this leaves open.

#include <gtest/gtest.h>

#include <regex>
#include <sstream>

#include "gzip_text.h"
#include "program.h"
#include "support/scratch_folder.h"

namespace {

constexpr char k_data_folder[] = ORVIK_ROOT "/tests/data/";
constexpr char k_golden_folder[] = ORVIK_ROOT "/tests/golden/";

std::string replaced(const std::string& text, const std::string& from, const std::string& to) {
  return std::regex_replace(text, std::regex(from), to);
}

/// The number between `before` and `after`, -1 if there is none.
double number_in(const std::string& report, const std::string& before, const std::string& after) {
  std::smatch found;
  const std::regex line(before + "([0-9.e+-]+)" + after);
  return std::regex_search(report, found, line) ? std::stod(found[1]) : -1;
}

/// A folder with the table of rented flats: t.names and t.data, 50 rows, 61.5 in weight.
class run_training : public scratch_folder {
 protected:
  run_training() {
    write("t.names", names_);
    write("t.data", data_);
  }

  /// The report of a run without a log.
  static std::string report(const std::string& arguments) {
    const program_result run = run_program("-nl -t report " + arguments + " 2>&1");
    EXPECT_EQ(run.out, "") << arguments;
    EXPECT_EQ(run.status, 0) << arguments;
    return read("report");
  }

  /// The same report with 1, 2 and 7 workers.
  static std::string report_for_any_workers(const std::string& arguments) {
    const std::string with_one = report(arguments + " -tt 1");
    for (const char* workers : {" -tt 2", " -tt 7"}) {
      EXPECT_EQ(report(arguments + workers), with_one) << arguments << workers;
    }
    return with_one;
  }

  void drop_weights() { write("t.names", replaced(names_, ",weights", ",ignore")); }

  const std::string names_ = read(k_data_folder + std::string("rentals.names"));
  const std::string data_ = read(k_data_folder + std::string("rentals.data"));
};

TEST_F(run_training, reports_what_the_golden_files_say_for_any_workers) {
  const struct {
    const char *file, *arguments;
  } rows[] = {{"rentals.txt", "-f t"},
              {"rentals-unpruned.txt", "-f t -npp -m 1"},
              {"rentals-holdout.txt", "-f t -hd 70 -oerr -norescale"}};
  for (const auto& row : rows) {
    EXPECT_EQ(report_for_any_workers(row.arguments), read(k_golden_folder + std::string(row.file)))
        << row.arguments;
  }
}

TEST_F(run_training, reads_the_same_table_in_any_clothes) {
  const std::string names = replaced(names_, "long double", "double");
  write("t.names", names);
  const std::string expected = report("-f t");
  ASSERT_NE(expected, "");

  const std::string short_data = data_.substr(0, data_.size() - 1);
  const struct {
    const char* what;
    std::string names, data, option;
  } rows[] = {
      {"line ends of two bytes", replaced(names, "\n", "\r\n"), replaced(data_, "\n", "\r\n"), ""},
      {"no last line end", names.substr(0, names.size() - 1), short_data, ""},
      {"only the last line end of two bytes", names, short_data + "\r\n", ""},
      {"separators at the ends", replaced(names, "\n", ",\n"), replaced(data_, "\n", ",\n"), ""},
      {"outer blanks", names, replaced(replaced(data_, ",", "  , "), "\n", " \n"), ""},
      {"blanks", replaced(names, ",", " "), replaced(data_, ",", " "), "-sep ' '"},
      {"runs of blanks", replaced(names, ",", " "),
       replaced(replaced(data_, ",", "   "), "\nflat", "  \n flat"), "-sep ' '"},
      {"tabs", replaced(names, ",", "\t"), replaced(data_, ",", "\t"), "-sep '\t'"},
  };
  for (const auto& row : rows) {
    write("other.names", row.names);
    write("other.data", row.data);
    EXPECT_EQ(report_for_any_workers("-f other " + row.option), expected) << row.what;
  }
  write("t.names.gz", gzip_text(names));
  write("t.data.gz", gzip_text(data_.substr(0, 500)) + gzip_text(data_.substr(500)));
  EXPECT_EQ(report_for_any_workers("-fm t.names.gz -fd t.data.gz"), expected);
  EXPECT_EQ(report_for_any_workers("-fm t.names -fd /dev/stdin <t.data"), expected);
}

TEST_F(run_training, holds_out_by_the_first_of_the_four_options) {
  drop_weights();
  const struct {
    const char* arguments;
    int train, holdout;
  } rows[] = {{"-hf 80 -h 62 -hd 50 -hs 25", 12, 38},
              {"-hs 25 -hd 50 -h 62 -hf 80", 12, 38},
              {"-hf 80 -h 62 -hd 50", 25, 25},
              {"-hf 80 -h 62", 31, 19},
              {"-hf 80", 40, 10},
              {"-hf 80 -hf 2", 1, 49},
              {"-h 99.9", 49, 1},
              {"", 50, -1}};
  for (const auto& row : rows) {
    const std::string text = report(std::string("-f t ") + row.arguments);
    EXPECT_EQ(number_in(text, "\nMISCLASSIFICATION on training: .*% of ", " cases"), row.train)
        << row.arguments;
    EXPECT_EQ(number_in(text, "\nMISCLASSIFICATION on holdout test: .*% of ", " cases"),
              row.holdout)
        << row.arguments;
  }
}

TEST_F(run_training, with_a_seed_draws_the_same_cases_again) {
  for (const std::string option : {"-h 50", "-hs 50"}) {
    const std::string seeded = report_for_any_workers("-f t -seed 5 " + option);
    EXPECT_EQ(report(option + " -f t -seed 5"), seeded);
    EXPECT_NE(report("-f t -seed 6 " + option), seeded);
  }
}

// Of 20 rows 12 are yes, and most of any 19: a leaf errs on each of the 8 others, alone in its
// fold.
TEST_F(run_training, cross_validates_on_folds_of_the_whole_table) {
  std::string alike, telling;
  for (int i = 0; i < 20; ++i) {
    const std::string kind = i % 5 < 3 ? "yes\n" : "no\n";
    alike += "x," + kind;
    telling += (i % 5 < 3 ? "y," : "n,") + kind;
  }
  write("cv.names", "a,string,discrete\nk,string,class\n");
  const struct {
    std::string data, arguments, log, report;
  } rows[] = {{alike, "-h 50 -cv 1 20",
               "\nCross-validating ....................\n + err: 40% +- 50.26%\n + sz: 1 +- 0\n"
               " + depth: 1 +- 0\n + nf: 0 +- 0\n + time: ",
               "\nMISCLASSIFICATION on 20 folds and 1 repetitions: 40 +- 50.26%.\n"
               "ORDINAL ERROR:\nMAE: 0.4\nMSE: 0.4\nRMSE: 0.4\n"},
              {telling, "-cv 2 5",
               "\nCross-validating ..........\n + err: 0% +- 0%\n + sz: 3 +- 0\n"
               " + depth: 2 +- 0\n + nf: 1 +- 0\n + time: ",
               "\nMISCLASSIFICATION on 5 folds and 2 repetitions: 0 +- 0%.\n"}};
  for (const auto& row : rows) {
    write("cv.data", row.data);
    const std::string out = run_program("-f cv -oerr -tstd " + row.arguments).out;
    EXPECT_NE(out.find(row.log), out.npos) << out;
    EXPECT_NE(out.find(row.report), out.npos) << out;
  }
}

TEST_F(run_training, traces_a_build_for_every_number_of_workers) {
  EXPECT_EQ(run_program("-nl -f t -tti 1 40 trace").status, 0);
  EXPECT_EQ(replaced(read("trace"), "(build\t[0-9]+)\t[^\n]*", "$1"),
            "operation\tworkers\tseconds\tspeedup\nbuild\t1\nbuild\t2\nbuild\t4\nbuild\t8\n"
            "build\t16\nbuild\t32\n");
}

TEST_F(run_training, prints_the_same_report_on_standard_output) {
  const std::string text = report("-f t -hd 70 -oerr");
  EXPECT_EQ(run_program("-nl -f t -hd 70 -oerr -tstd").out, text);
  EXPECT_EQ(run_program("-nl -f t -hd 70 -oerr -tstd -l log").out, text);
  EXPECT_EQ(run_program("-nl -f t -hd 70 -oerr -tstd -t out").out, "");
  EXPECT_EQ(read("out"), text);
}

TEST_F(run_training, writes_graph_report_and_xml_in_this_order) {
  const std::string text = report("-f t -hd 70 -ft t.data -d dot -x xml");
  EXPECT_EQ(run_program("-nl -f t -hd 70 -ft t.data -dstd").out, read("dot"));
  EXPECT_EQ(run_program("-nl -f t -hd 70 -ft t.data -xstd").out, read("xml"));
  const std::string all = run_program("-nl -f t -hd 70 -ft t.data -tstd -dstd -xstd").out;
  EXPECT_TRUE(all.starts_with(read("dot") + text + "<PMML version=\"2.0\">\n"));

  // The last test is the one told of: that of the file, whose case weights sum to 61.5.
  EXPECT_GT(number_in(read("xml"), "<X-ConfusionMatrixTest .*x-totalInst = \"", "\""), 61.4);
  report("-f t -hd 70 -x xml");
  EXPECT_LT(number_in(read("xml"), "<X-ConfusionMatrixTest .*x-totalInst = \"", "\""), 25);
  report("-f t -x xml");
  EXPECT_EQ(read("xml").find("ConfusionMatrixTest"), std::string::npos);
}

TEST_F(run_training, keeps_log_and_report_on_lines_of_their_own) {
  std::istringstream both(run_program("-f t -hd 70 -oerr -tstd -ft t.data -fs t.data").out);
  std::string others = "No score output file provided!\n";
  others += report("-f t -hd 70 -oerr -ft t.data -l log");
  others += read("log");
  for (std::string line; std::getline(both, line);) {
    if (line.find(" secs") != line.npos) continue;
    EXPECT_NE(others.find(line + '\n'), others.npos) << line;
  }
}

}  // namespace
