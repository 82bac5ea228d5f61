#include "progress.h"

#include <gtest/gtest.h>

namespace {

TEST(progress, is_told_as_far_as_it_is_known) {
  using zel::util::progress::unit;
  const auto& text = orvcmd::progress_text;
  EXPECT_EQ(text({unit::trees, 0, 100}, 5), "");
  EXPECT_EQ(text({unit::trees, 20, 100}, 0.1), "20 of 100 trees");
  EXPECT_EQ(text({unit::trees, 20, 100}, 5), "20 of 100 trees, 4.0 trees/s, 20 s left");
  EXPECT_EQ(text({unit::rows, 3000000, 0}, 2), "3000 K rows, 1500 K rows/s");
  EXPECT_EQ(text({unit::folds, 10, 10}, 5), "10 of 10 folds, 2.0 folds/s");
}

}  // namespace
