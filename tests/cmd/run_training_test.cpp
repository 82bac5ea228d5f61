// The main job from files to report: a table of every type and role, with unknown values, weights
// and ordered values, trained in every way that this leaves open.

#include <gtest/gtest.h>

#include <algorithm>
#include <regex>
#include <sstream>

#include "gzip_text.h"
#include "program.h"
#include "scratch_folder.h"

namespace {

constexpr char k_data_folder[] = ORVIK_ROOT "/tests/data/";
constexpr char k_golden_folder[] = ORVIK_ROOT "/tests/golden/";

std::string replaced(const std::string& text, const std::string& from, const std::string& to) {
  return std::regex_replace(text, std::regex(from), to);
}

/// The tree of a report, its last section.
std::string tree_of(const std::string& report) {
  return report.substr(std::min(report.find("DECISION TREE"), report.size()));
}

int size_of(const std::string& report) {
  const std::string title = "DECISION TREE (size=";
  return std::stoi(tree_of(report).substr(title.size()));
}

/// Each level of a tree puts one more bar in front of its conditions.
int depth_of(const std::string& report) {
  std::istringstream lines(tree_of(report));
  std::string line;
  std::getline(lines, line);  // the title
  int depth = 0;
  while (std::getline(lines, line)) {
    const bool condition = std::regex_search(line, std::regex(" (=|<=|>) "));
    const auto bars = static_cast<int>(std::ranges::count(line, '|'));
    if (condition) depth = std::max(depth, bars + 1);
  }
  return depth;
}

/// The number between `before` and `after`, -1 if there is none.
double number_in(const std::string& report, const std::string& before, const std::string& after) {
  std::smatch found;
  const std::regex line(before + "([0-9.e+-]+)" + after);
  return std::regex_search(report, found, line) ? std::stod(found[1]) : -1;
}

double training_error(const std::string& report) {
  return number_in(report, "\nMISCLASSIFICATION on training: ", "%");
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

TEST_F(run_training, on_the_first_rows_is_training_on_a_shorter_file) {
  drop_weights();
  std::istringstream lines(data_);
  std::string first_rows, line;
  for (int row = 0; row < 35 && std::getline(lines, line); ++row) first_rows += line + '\n';
  write("first.data", first_rows);
  EXPECT_EQ(tree_of(report_for_any_workers("-f t -hf 70")), tree_of(report("-f t -fd first.data")));
}

TEST_F(run_training, with_a_seed_draws_the_same_cases_again) {
  for (const std::string option : {"-h 50", "-hs 50"}) {
    const std::string seeded = report_for_any_workers("-f t -seed 5 " + option);
    EXPECT_EQ(report(option + " -f t -seed 5"), seeded);
    EXPECT_NE(report("-f t -seed 6 " + option), seeded);
  }
}

TEST_F(run_training, weighs_by_rescaled_weights_unless_told_otherwise) {
  const auto cases = [](const std::string& text) {
    return number_in(text, "\nMISCLASSIFICATION on training: .*% of ", " cases");
  };
  const std::string rescaled = report("-f t"), as_is = report("-f t -norescale");
  EXPECT_EQ(cases(rescaled), 50);
  EXPECT_EQ(cases(as_is), 61.5);
  EXPECT_NEAR(training_error(report("-f t -depth 0")),
              training_error(report("-f t -norescale -depth 0")), 1e-3);
  std::istringstream leaves(tree_of(as_is));
  double sum = 0;
  for (std::string line; std::getline(leaves, line);) {
    sum += std::max(number_in(line, ": \\w+ \\(", "[/)]"), 0.0);
  }
  EXPECT_NEAR(sum, 61.5, 0.05 * size_of(as_is));  // shown with one decimal
}

TEST_F(run_training, grows_a_tree_that_its_limits_allow) {
  for (const int depth : {0, 1, 2, 3}) {
    const std::string text =
        report_for_any_workers("-f t -npp -m 1 -depth " + std::to_string(depth));
    EXPECT_EQ(depth_of(text), depth);
  }
  EXPECT_EQ(size_of(report("-f t -depth 0")), 1);
  EXPECT_EQ(size_of(report("-f t -m 26")), 1);  // two branches of that weight are not to be had
  int before = size_of(report("-f t -npp -m 0.5"));
  for (const char* least : {"1", "2", "5", "10"}) {
    const int now = size_of(report(std::string("-f t -npp -m ") + least));
    EXPECT_LT(now, before) << least;
    before = now;
  }
}

TEST_F(run_training, prunes_more_with_every_step) {
  const std::string unpruned = report_for_any_workers("-f t -m 1 -npp");
  const std::string prepruned = report_for_any_workers("-f t -m 1 -np");
  const std::string trusting = report_for_any_workers("-f t -m 1 -c 1");
  const std::string pruned = report_for_any_workers("-f t -m 1");
  const std::string doubting = report_for_any_workers("-f t -m 1 -c 0.01");
  EXPECT_GT(size_of(unpruned), size_of(prepruned));
  EXPECT_GE(size_of(prepruned), size_of(trusting));
  EXPECT_GT(size_of(trusting), size_of(pruned));
  EXPECT_GT(size_of(pruned), size_of(doubting));
  EXPECT_LE(training_error(unpruned), training_error(pruned));
  EXPECT_LT(training_error(pruned), training_error(doubting));
  EXPECT_EQ(pruned, report("-f t -m 1 -npp -ebp -c 0.25"));
}

TEST_F(run_training, chooses_by_the_measure_asked_for) {
  const std::string gain_ratio = tree_of(report_for_any_workers("-f t -npp -m 1"));
  const std::string gain = tree_of(report_for_any_workers("-f t -npp -m 1 -gain"));
  const std::string pure = tree_of(report_for_any_workers("-f t -npp -m 1 -grpure"));
  EXPECT_NE(gain_ratio, gain);
  EXPECT_NE(gain_ratio, pure);
  EXPECT_NE(gain, pure);
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
