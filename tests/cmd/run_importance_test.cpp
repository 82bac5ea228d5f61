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

}  // namespace
