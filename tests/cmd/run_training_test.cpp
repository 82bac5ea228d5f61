// The main job from files to report: a table of every type and role, with unknown values, weights
// and ordered values.

#include <gtest/gtest.h>

#include <string>

#include "program.h"
#include "support/scratch_folder.h"

namespace {

constexpr char k_data_folder[] = ORVIK_ROOT "/tests/data/";
constexpr char k_golden_folder[] = ORVIK_ROOT "/tests/golden/";

/// A folder with the table of rented flats: t.names and t.data, 50 rows, 61.5 in weight.
class run_training : public scratch_folder {
 protected:
  run_training() {
    write("t.names", read(k_data_folder + std::string("rentals.names")));
    write("t.data", read(k_data_folder + std::string("rentals.data")));
  }

  /// The report of a run without a log.
  static std::string report(const std::string& arguments) {
    const program_result run = run_program("-nl -t report " + arguments + " 2>&1");
    EXPECT_EQ(run.out, "") << arguments;
    EXPECT_EQ(run.status, 0) << arguments;
    return read("report");
  }
};

TEST_F(run_training, reports_what_the_golden_files_say_for_any_workers) {
  const struct {
    const char *file, *arguments;
  } rows[] = {{"rentals.txt", "-f t"},
              {"rentals-unpruned.txt", "-f t -npp -m 1"},
              {"rentals-holdout.txt", "-f t -hd 70 -oerr -norescale"}};
  for (const auto& row : rows) {
    for (const char* workers : {" -tt 1", " -tt 2", " -tt 7"}) {
      EXPECT_EQ(report(row.arguments + std::string(workers)),
                read(k_golden_folder + std::string(row.file)))
          << row.arguments << workers;
    }
  }
}

}  // namespace
