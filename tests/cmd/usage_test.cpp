#include <gtest/gtest.h>

#include <fstream>
#include <sstream>

#include "options.h"

namespace orvcmd {
namespace {

TEST(usage, is_the_published_text_to_the_character) {
  std::ostringstream published;
  published << std::ifstream(ORVIK_ROOT "/tests/cmd/golden/usage.txt").rdbuf();
  EXPECT_EQ(usage_text("Orvik version x", 12), published.str());
}

}  // namespace
}  // namespace orvcmd
