// What the program says of the attributes and of the out-of-bag cases.

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "program.h"
#include "support/scratch_folder.h"

namespace {

using testing::HasSubstr;
using testing::Not;

class run_importance : public scratch_folder {
 protected:
  static program_result run(const std::string& arguments) {
    return run_program("-f '" ORVIK_ROOT "/examples/golf' " + arguments);
  }
};

TEST_F(run_importance, stands_between_the_training_report_and_the_tree) {
  const std::string out = run("-npp -nl -tstd -imp").out;
  EXPECT_THAT(out, HasSubstr("\tyes\n"
                             "ATTRIBUTE IMPORTANCE\nattribute\tgain\nhumidity\t0.346768\n"
                             "windy\t0.346768\noutlook\t0.246750\ntemperature\t0.000000\n\n"
                             "DECISION TREE (size=8)\n"));
  EXPECT_THAT(run("-npp -nl -tstd").out, Not(HasSubstr("IMPORTANCE")));
  EXPECT_THAT(run("-npp -imp").out, Not(HasSubstr("IMPORTANCE")));
}

TEST_F(run_importance, of_an_ensemble_shows_permutations_and_the_log_its_oob_error) {
  const program_result result = run("-fo 20 -seed 4 -tt 2 -t text -imp");
  EXPECT_EQ(result.status, 0);
  EXPECT_THAT(result.out, testing::ContainsRegex("built\n \\+ size.*\n \\+ oob: [0-9.]+%\n"));
  EXPECT_THAT(result.out, testing::ContainsRegex("pruned\n \\+ size.*\n \\+ oob: [0-9.]+%\n"));
  EXPECT_THAT(read("text"), testing::ContainsRegex("\nattribute\tgain\tpermutation\n"
                                                   "[a-z]+\t0\\.[0-9]+\t-?0\\.[0-9]+\n"));
  EXPECT_THAT(run("-ebp").out, Not(HasSubstr("oob")));
}

TEST_F(run_importance, figures_say_which_rows_they_are_of) {
  const std::string data = "-ft '" ORVIK_ROOT "/examples/golf.data' -hf 60 -cv 2 2 -seed 1 ";
  const std::string out = run("-nl -tstd -metrics -mjson figures " + data).out;
  const std::string json = read("figures");
  std::size_t in_report = 0, in_json = 0;
  for (const auto& [rows, n] : {std::pair("training rows", 8), std::pair("cross-validation", 28),
                                std::pair("hold-out", 6), std::pair("test file", 14)}) {
    const std::string number = std::to_string(n);
    in_report =
        out.find(std::string("\nFIGURES of ") + rows + ": " + number + " rows\n", in_report);
    in_json = json.find(std::string("\"rows\":\"") + rows + "\",\"n_rows\":" + number, in_json);
    EXPECT_NE(in_report, out.npos) << rows << '\n' << out;
    EXPECT_NE(in_json, json.npos) << rows << '\n' << json;
  }
  EXPECT_THAT(run("-nl -tstd " + data).out, Not(HasSubstr("FIGURES")));
}

}  // namespace
