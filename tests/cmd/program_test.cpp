// The program's ends before any work starts, seen from outside, and what it shows of long work.

#include "program.h"

#include <gtest/gtest.h>
#include <unistd.h>

#include <csignal>

#include "options.h"
#include "orvik/orvik.h"
#include "progress.h"
#include "support/scratch_folder.h"

namespace {

TEST(program, shows_the_usage_text_and_succeeds) {
  const std::string usage = orvcmd::usage_text(orvik::get_copyright(), orvik::get_n_workers());
  const std::string all = usage + std::string(orvcmd::all_options_text());
  for (const char* line : {"", "--help", "-gain --help -q"}) {
    const program_result result = run_program(line);
    EXPECT_EQ(result.out, line == std::string("--help") ? all : usage) << line;
    EXPECT_EQ(result.status, 0) << line;
  }
  for (const std::string_view option : orvcmd::option_names()) {
    EXPECT_NE(all.find("  " + std::string(option) + " "), all.npos) << option;
  }
}

TEST(program, fails_when_an_output_does) {
  for (const char* line :
       {"--help >/dev/full", "--help >&-", "-q >&-", "-q >&- 2>&-", "-l /dev/full"}) {
    EXPECT_EQ(run_program(std::string(line) + " 2>/dev/null").status, 255) << line;
  }
}

TEST(program, survives_a_pipe_closed_by_its_reader) {
  int ends[2];
  ASSERT_EQ(pipe(ends), 0);
  close(ends[0]);
  ASSERT_EQ(dup2(ends[1], 9), 9);
  close(ends[1]);
  EXPECT_EQ(run_program("--help >&9 2>/dev/null").status, 255);
  close(9);
}

TEST(progress, is_told_as_far_as_it_is_known) {
  using zel::util::progress::unit;
  const auto& text = orvcmd::progress_text;
  EXPECT_EQ(text({unit::trees, 0, 100}, 5), "");
  EXPECT_EQ(text({unit::trees, 20, 100}, 0.1), "20 of 100 trees");
  EXPECT_EQ(text({unit::trees, 20, 100}, 5), "20 of 100 trees, 4.0 trees/s, 20 s left");
  EXPECT_EQ(text({unit::rows, 3000000, 0}, 2), "3000 K rows, 1500 K rows/s");
  EXPECT_EQ(text({unit::folds, 10, 10}, 5), "10 of 10 folds, 2.0 folds/s");
}

TEST(progress, is_not_shown_where_there_is_no_terminal) {
  const auto run =
      run_program("-f " ORVIK_ROOT "/examples/golf -fo 20000 -npp -tt 1 2>&1 >/dev/null");
  EXPECT_EQ(run.status, 0);
  EXPECT_EQ(run.out, "");
}

class program_files : public scratch_folder {};

// A closed standard output must not lend its number to the log, which would receive the message.
TEST_F(program_files, receive_nothing_meant_for_a_closed_standard_output) {
  EXPECT_EQ(run_program("-l log >&- 2>/dev/null").status, 255);
  EXPECT_NE(read("log"), "");
  EXPECT_EQ(read("log").find("No metadata provided."), std::string::npos);
}

TEST_F(program_files, are_left_alone_by_a_refused_run) {
  write("d.data", "1,2\n");
  write("t", "kept");
  for (const char* line : {"-f d -t d.data", "-f d -t t -x ./t", "-f d -t t -l missing/l",
                           "-f d -t t -l new -h nan"}) {
    EXPECT_EQ(run_program(line).status, 255) << line;
    EXPECT_EQ(read("d.data") + read("t"), "1,2\nkept") << line;
    EXPECT_FALSE(std::filesystem::exists("new")) << line;
  }
}

TEST_F(program_files, shared_with_standard_output_are_refused) {
  const program_result result = run_program("-f d -t out >out");
  EXPECT_EQ(result.status, 255);
  EXPECT_EQ(read("out"), "Cannot open/create out: it is the same file as the standard output\n");
}

}  // namespace
