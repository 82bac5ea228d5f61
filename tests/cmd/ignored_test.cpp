// Options without effect: what the log says of them, and that they have none.
#include "ignored.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <sstream>

#include "program.h"
#include "support/scratch_folder.h"

namespace orvcmd {
namespace {

using testing::ElementsAreArray;

std::vector<std::string> ignored_in(const std::string& line) {
  std::istringstream text("orvcmd " + line);
  std::vector<std::string> words;
  for (std::string word; text >> word;) words.push_back(word);
  std::vector<const char*> argv;
  for (const std::string& word : words) argv.push_back(word.c_str());
  return ignored_options(options::parse(static_cast<int>(argv.size()), argv.data()));
}

constexpr char k_training[] =
    "-m 5 -depth 1 -gain -grpure -npp -np -ebp -ebpg -ebpa -pep -pepg -pepa -repa -rep -repg -mep "
    "-mepg -mepa -c 0.1 -sfs -sbe -dtsbe -as 1 -fslimit 9 -fo 3 -ba 3 -seed 7 -norescale ";
constexpr char k_outputs[] =
    "-imp -metrics -mjson mj -oerr -ft other -fs other -s s -prob -unseen -tb tb -t t -tstd -x x "
    "-xstd -d d -dstd "
    "-pmml p -json j ";
constexpr char k_holdouts[] = "-h 50 -hf 50 -hd 50 -hs 50 -tti 1 1 trace -tt 2 ";

TEST(ignored, is_what_the_run_asked_for_has_no_use_of) {
  const std::string strategies =
      "-np, -ebp, -ebpg, -ebpa, -pep, -pepg, -pepa, -rep, -repg, -repa, -mep, -mepg, -mepa, ";
  const std::string searches = "-as, -sfs, -sbe, -dtsbe, ";
  const std::string model =
      "-hs, -hd, -h, -hf, -tb, -t, -tstd, -oerr, -imp, -metrics, -x, -xstd, -d, -dstd, -pmml, "
      "-json, "
      "-mjson, -s, "
      "-prob, -tti";
  const std::string all = std::string(k_training) + k_outputs + k_holdouts;
  const struct {
    std::string line;
    std::vector<std::string> ignored;
  } rows[] = {
      {"-bt m -f a -fm a -fd a -bd b -sep ; -ft t " + std::string(k_training),
       {"Ignored: -f, -fm, -fd, -bd, -norescale, -m, -depth, -gain, -grpure, -npp, " + strategies +
        "-c, " + searches + "-fslimit, -ba, -fo, -seed (a saved model is used)"}},
      {"-sdm2012 1 -cv 1 2 -as2018 0 1 1 1 -f a " + all,
       {"Ignored: -ft, -fs, -unseen, -gain, -grpure, -npp, " + strategies + searches +
        "-fslimit, -ba, -fo, " + model + ", -as2018 (-sdm2012 is run)"}},
      {"-as2018 0 1 1 1 -cv 1 2 -f a " + all,
       {"Ignored: -ft, -fs, -unseen, -m, " + strategies + searches + model + " (-as2018 is run)"}},
      {"-bd b -f a -sep ;",
       {"Ignored: -f (-bd gives the table)", "Ignored: -sep (no text file is read)"}},
      {"-bd b -sep ; -ft t", {}},
      {"-bt m -sep ; -fs t", {"Ignored: -sep (no text file is read)"}},
      {"-f a -h 50 -hf 50", {"Ignored: -hf (-h decides)"}},
      {"-f a -hs 50 -h 50 -hf 50 -hd 50", {"Ignored: -hd, -h, -hf (-hs decides)"}},
      {"-f a -hf 50 -hd 50", {"Ignored: -hf (-hd decides)"}},
      {"-f a -c 0.1 -ebpa -c 0.2", {}},
      {"-f a -c 0.1 -pep -fslimit 5",
       {"Ignored: -c (no error-based pruning)", "Ignored: -fslimit (no search)"}},
      {"-f a -ba 5 -fo 3 -gain -grpure -sfs -sbe -fslimit 5 -ebp", {}},
      {"-f a -unseen -prob -s s -oerr -imp -metrics",
       {"Ignored: -unseen (nothing is tested or scored)", "Ignored: -s, -prob (nothing is scored)",
        "Ignored: -oerr, -imp, -metrics (no text output)"}},
      {"-f a -fs r -unseen -prob",
       {"Ignored: -unseen (nothing is tested or scored)", "Ignored: -prob (nothing is scored)"}},
      {"-f a -ft t -unseen -tstd -imp -oerr", {}},
      {"-f a -tstd -xstd -dstd -t t -x x -d d",
       {"Ignored: -tstd (-t is given)", "Ignored: -xstd (-x is given)",
        "Ignored: -dstd (-d is given)"}},
      {"-f a -fs r -s s -prob -unseen", {}},
  };
  std::ostringstream page;
  page << std::ifstream(ORVIK_ROOT "/docs/orvcmd.1.md").rdbuf();
  for (const auto& row : rows) {
    EXPECT_THAT(ignored_in(row.line), ElementsAreArray(row.ignored));
    for (const std::string& line : row.ignored) {
      const std::size_t at = line.find('(') + 1;
      EXPECT_THAT(page.str(),
                  testing::HasSubstr('`' + line.substr(at, line.size() - 1 - at) + '`'));
    }
  }
}

/// What the lines of an experiment say, less the times.
std::string figures_of(const std::string& log) {
  std::string figures;
  for (const char* first : {"ds", "fold"}) {
    for (const auto& row : experiment_in(log, first)) {
      for (const auto& [name, cell] : row) {
        figures += name.find("time") == name.npos ? cell + '\t' : "";
      }
    }
  }
  return figures;
}

using ignored_runs = scratch_folder;

TEST_F(ignored_runs, are_as_without_the_options) {
  const std::string golf = "-f " ORVIK_ROOT "/examples/golf ";
  ASSERT_EQ(run_program(golf + "-nl -tb model -db table").status, 0);
  write("rows", "sunny,85,85,false,no\n");
  const struct {
    std::string run, ignored;
  } rows[] = {
      {"-bt model -ft rows -oerr -t report -fs rows -s scores ", golf + "-bd table " + k_training},
      {"-bd table -t report -npp ", golf + "-sep : -c 0.1 -fslimit 9 -unseen -prob -s none -tstd "},
      {"-seed 1 -m 1 -cv 1 2 -sdm2012 1 " + golf,
       "-gain -np -ba 4 -sfs -fslimit 9 " + std::string(k_outputs) + k_holdouts},
      {"-seed 1 -cv 1 2 -as2018 0:9 1 2 1 " + golf,
       "-m 5 -rep -sfs " + std::string(k_outputs) + k_holdouts},
  };
  for (const auto& [run, ignored] : rows) {
    write("report", "");
    write("scores", "");
    const program_result before = run_program(run);
    const std::string written = read("report") + read("scores") + figures_of(before.out);
    EXPECT_NE(written, "");
    const program_result after = run_program(run + ignored);
    EXPECT_EQ(after.status, 0) << after.out;
    EXPECT_NE(after.out.find("\nIgnored: "), std::string::npos) << after.out;
    EXPECT_EQ(read("report") + read("scores") + figures_of(after.out), written) << run << ignored;
    EXPECT_EQ(run_program(run + ignored + "-nl").out.find("Ignored"), std::string::npos);
  }
}

}  // namespace
}  // namespace orvcmd
