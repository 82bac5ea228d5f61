#include <gtest/gtest.h>

#include <cstdio>

#include "inpout_scratch.h"
#include "zel/inpout/iomem.h"

namespace {

using zel::inpout::iomem;

TEST(memory_connection, of_its_own_grows_and_keeps_its_bytes) {
  for (const unsigned long capacity : {0UL, 1UL, 5UL, 1000UL}) {
    iomem conn;
    ASSERT_TRUE(conn.open(capacity));
    std::string expected;
    for (unsigned i = 0; i < 200; ++i) {
      const std::string piece(i % 17, static_cast<char>('a' + i % 26));
      ASSERT_EQ(conn.write(piece.data(), static_cast<long>(piece.size())), i % 17);
      expected += piece;
    }
    EXPECT_EQ(conn.bytes(), expected);
    EXPECT_TRUE(conn.eof());
    EXPECT_TRUE(conn.rewind());
    EXPECT_EQ(scratch::drain(conn, 7), expected);
  }
}

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

struct seek {
  long offset;
  int whence;
  long owned;  // positions that result from 3 of 5 bytes used
  long lent;
};

TEST(memory_connection, seeks_past_the_end_only_in_a_buffer_of_its_own) {
  for (const seek& row :
       {seek{2, SEEK_SET, 2, 2}, seek{1, SEEK_CUR, 2, 2}, seek{-1, SEEK_CUR, 0, 0},
        seek{-2, SEEK_END, 1, 1}, seek{5, SEEK_SET, 5, 3}, seek{4, SEEK_END, 7, 3},
        seek{900, SEEK_CUR, 901, 3}, seek{0, 3, -1, -1}}) {
    SCOPED_TRACE(testing::Message() << row.offset << ' ' << row.whence);
    iomem owned;
    owned.open(5);
    owned.write("abc", 3);
    owned.lseek(1, SEEK_SET);
    EXPECT_EQ(owned.lseek(row.offset, row.whence), row.owned);
    const std::size_t size = static_cast<std::size_t>(std::max(row.owned, 3L));
    EXPECT_EQ(owned.bytes(), std::string("abc") + std::string(size - 3, '\0'));

    char room[5] = {'a', 'b', 'c', '?', '?'};
    iomem lent;
    lent.open(room, 5, 3);
    lent.lseek(1, SEEK_SET);
    EXPECT_EQ(lent.lseek(row.offset, row.whence), row.lent);
    EXPECT_EQ(lent.size(), 3);
  }
}

TEST(memory_connection, takes_an_offset_before_the_start_for_one_past_all_memory) {
  iomem owned;
  owned.open(10);
  owned.write("abc", 3);
  EXPECT_EQ(error_of([&] { owned.lseek(-4, SEEK_CUR); }), "Out of memory");
  EXPECT_EQ(error_of([&] { owned.open(1UL << 63); }), "Out of memory");
}

TEST(memory_connection, overwrites_without_moving_its_end) {
  iomem conn;
  conn.open(10);
  conn.write("abcdef", 6);
  conn.lseek(1, SEEK_SET);
  conn.write("XY", 2);
  EXPECT_EQ(conn.bytes(), "aXYdef");
  EXPECT_EQ(conn.tell(), 3);
  EXPECT_FALSE(conn.eof());
}

}  // namespace
