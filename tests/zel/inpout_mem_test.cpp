#include <gtest/gtest.h>

#include <cstdio>

#include "inpout_scratch.h"
#include "zel/inpout/iomem.h"

namespace {

using zel::inpout::iomem;

TEST(memory_connection, of_the_caller_does_not_grow) {
  char room[4] = {'a', 'b', 'c', 'd'};
  iomem conn;
  ASSERT_TRUE(conn.open(room, 4, 2));
  EXPECT_EQ(scratch::drain(conn), "ab") << "only the used bytes are data";
  EXPECT_EQ(conn.write("xyz", 0), 0);
  EXPECT_EQ(error_of([&] { conn.write("xyz", 3); }), "iomem buffer size exceeded");
  EXPECT_EQ(conn.size(), 2);
  EXPECT_EQ(conn.write("xy", 2), 2);
  EXPECT_EQ(std::string(room, 4), "abxy");
  EXPECT_EQ(conn.get_mode(), 6);
  conn.close();
  EXPECT_FALSE(conn.is_open());
  EXPECT_EQ(conn.read(room, 4), 0);
}

TEST(memory_connection, takes_an_offset_before_the_start_for_one_past_all_memory) {
  iomem owned;
  owned.open(10);
  owned.write("abc", 3);
  EXPECT_EQ(error_of([&] { owned.lseek(-4, SEEK_CUR); }), "Out of memory");
  EXPECT_EQ(error_of([&] { owned.open(1UL << 63); }), "Out of memory");
}

}  // namespace
