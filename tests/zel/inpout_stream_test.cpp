#include <gtest/gtest.h>

#include <map>
#include <mutex>
#include <thread>

#include "inpout_scratch.h"
#include "zel/inpout/stream.h"

namespace {

using scratch::faulty_input;
using scratch::read_all;
using zel::inpout::stream;

using lines_t = std::vector<std::string>;

stream::limits small(unsigned long capacity, unsigned long max_line = stream::k_max_line) {
  return {capacity, max_line};
}

struct text_sample {
  std::string text;
  lines_t lines;
};

TEST(stream_reads_lines, whatever_the_borders_of_reads_and_blocks) {
  const std::vector<text_sample> samples = {
      {"", {}},
      {"\n", {""}},
      {"\r\n", {""}},
      {"\r", {""}},
      {"a", {"a"}},
      {"a\n", {"a"}},
      {"a,b\r\n", {"a,b"}},
      {"a\r", {"a"}},
      {"a\rb\r\r\nc", {"a\rb\r", "c"}},
      {"\n\n\nx\n\n", {"", "", "", "x", ""}},
      {"first\r\nthe second one\r\n\r\nlast\r", {"first", "the second one", "", "last"}},
      {std::string("a\0b\n\0", 5), {std::string("a\0b", 3), std::string("\0", 1)}},
      {std::string(3000, 'x') + "\n" + std::string(2500, 'y') + "\nz",
       {std::string(3000, 'x'), std::string(2500, 'y'), "z"}},
  };
  for (const text_sample& row : samples) {
    for (const unsigned long capacity : {1UL, 2UL, 3UL, 4UL, 5UL, 6UL, 7UL, 8UL, 9UL, 1048576UL}) {
      for (const long most : {1L, 2L, 3L, 5L, 100000L}) {
        SCOPED_TRACE(testing::PrintToString(row.text.substr(0, 40)) + " capacity " +
                     std::to_string(capacity) + " read " + std::to_string(most));
        stream in(new faulty_input(row.text, most), ',', true, small(capacity));
        const scratch::reading got = read_all(in);
        EXPECT_EQ(got.error, "");
        EXPECT_EQ(got.lines, row.lines);
        EXPECT_EQ(in.bytes_read(), row.text.size());
      }
    }
  }
}

/// Lines of lengths 0 to `longest` - 1, each unlike all others once it has four bytes.
std::string numbered_lines(unsigned count, unsigned longest, bool last_feed) {
  std::string text;
  for (unsigned i = 0; i < count; ++i) {
    std::string line = std::to_string(i) + std::string(longest, '.');
    text += line.substr(0, i * 7919 % longest) + "\n";
  }
  if (!last_feed) text += "last";
  return text;
}

TEST(streams_of_one_connection, read_every_line_once_and_number_the_blocks_in_file_order) {
  for (const unsigned threads : {1U, 2U, 5U}) {
    for (const unsigned longest : {1U, 2U, 13U, 300U}) {
      for (const unsigned long capacity : {1UL, 7UL, 64UL, 1000UL}) {
        SCOPED_TRACE(testing::Message() << threads << ' ' << longest << ' ' << capacity);
        const std::string text = numbered_lines(600, longest, longest % 2 == 0);
        faulty_input conn(text, 90);
        std::map<unsigned long, std::string> blocks;
        std::mutex guard;
        std::vector<std::thread> workers;
        for (unsigned i = 0; i < threads; ++i) {
          workers.emplace_back([&] {
            stream in(&conn, ',', false, small(capacity));
            while (in.read_line()) {
              const std::lock_guard lock(guard);
              blocks[in.block_number()] += std::string(in.line()) + "\n";
            }
          });
        }
        for (std::thread& worker : workers) worker.join();
        std::string merged;
        for (const auto& [number, lines] : blocks) merged += lines;
        EXPECT_EQ(merged, longest % 2 == 0 ? text : text + "\n");
        EXPECT_EQ(blocks.rbegin()->first, blocks.size() - 1) << "numbers have no gaps";
      }
    }
  }
}

TEST(stream_refuses, a_read_error_at_any_byte_without_inventing_a_line) {
  const std::string text = "one\ntwo\r\nthree\nfour";
  const lines_t whole = {"one", "two", "three"};
  for (std::size_t good = 0; good <= text.size(); ++good) {
    for (const unsigned long capacity : {1UL, 3UL, 50UL}) {
      SCOPED_TRACE(testing::Message() << good << ' ' << capacity);
      stream in(new faulty_input(text, 5, good), ',', true, small(capacity));
      const scratch::reading got = read_all(in);
      EXPECT_EQ(got.error, "File: faulty cannot be read: cable cut");
      ASSERT_LE(got.lines.size(), whole.size());
      EXPECT_TRUE(std::equal(got.lines.begin(), got.lines.end(), whole.begin()));
      EXPECT_EQ(error_of([&] { in.read_line(); }), got.error) << "asked again";
    }
  }
}

TEST(stream_refuses, lines_of_the_limit_wherever_they_start) {
  for (const std::string before : {"", "\n", "abc\n", "abcdef\n"}) {
    for (const unsigned long capacity : {1UL, 4UL, 8UL, 1000UL}) {
      for (const std::string end : {"\n", "\nx\n", ""}) {
        SCOPED_TRACE(before + "|" + end + "|" + std::to_string(capacity));
        stream fits(new faulty_input(before + "1234567" + end, 3), ',', true, small(capacity, 8));
        EXPECT_EQ(read_all(fits).error, "");
        stream over(new faulty_input(before + "12345678" + end, 3), ',', true, small(capacity, 8));
        EXPECT_EQ(read_all(over).error, "stream: out of big memory");
      }
    }
  }
}

}  // namespace
