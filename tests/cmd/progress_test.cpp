// What is shown of long work, and when nothing is.
#include "progress.h"

#include <gtest/gtest.h>

#include "program.h"

namespace orvcmd {
namespace {

using zel::util::progress::unit;

TEST(progress, is_told_as_far_as_it_is_known) {
  EXPECT_EQ(progress_text({unit::trees, 0, 100}, 5), "");
  EXPECT_EQ(progress_text({unit::trees, 20, 100}, 0.1), "20 of 100 trees");
  EXPECT_EQ(progress_text({unit::trees, 20, 100}, 5), "20 of 100 trees, 4.0 trees/s, 20 s left");
  EXPECT_EQ(progress_text({unit::nodes, 1, 0}, 0.1), "1 nodes");
  EXPECT_EQ(progress_text({unit::rows, 3000000, 0}, 2), "3000 K rows, 1500 K rows/s");
  EXPECT_EQ(progress_text({unit::folds, 10, 10}, 5), "10 of 10 folds, 2.0 folds/s");
}

TEST(progress, is_not_shown_where_there_is_no_terminal) {
  const auto run =
      run_program("-f " ORVIK_ROOT "/examples/golf -fo 20000 -npp -tt 1 2>&1 >/dev/null");
  EXPECT_EQ(run.status, 0);
  EXPECT_EQ(run.out, "");
}

}  // namespace
}  // namespace orvcmd
