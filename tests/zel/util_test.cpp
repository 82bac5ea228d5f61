// The text conversions, seeds, random numbers and blocks.
#include <gtest/gtest.h>
#include <sys/wait.h>
#include <unistd.h>

#include <random>
#include <set>
#include <string>

#include "support/error_of.h"
#include "zel/util/blocks.h"
#include "zel/util/rand_gen.h"
#include "zel/util/seed.h"
#include "zel/util/string_util.h"

namespace zel::util {
namespace {

struct number {
  const char* text;
  int value;
  const char* error;
};

TEST(str2int, reads_what_is_a_number_and_names_what_is_not) {
  const number rows[] = {{"  -42", -42, ""},
                         {"+007", 7, ""},
                         {"-", 0, ""},
                         {"2147483647", 2147483647, ""},
                         {"-2147483648", 77, "str2int:: overflow"},
                         {"99999999999x", 77, "str2int:: overflow"},
                         {"42 ", 77, "42 : not an int"},
                         {"\t4", 77, "\t4: not an int"},
                         {"", 77, ": not an int"},
                         {nullptr, 77, "str2int:: cannot convert a NULL string."}};
  for (const number& n : rows) {
    int value = 77;
    EXPECT_EQ(error_of([&] { string_util::str2int<int>(n.text, value); }), n.error);
    EXPECT_EQ(value, n.value) << n.error;
  }
  unsigned count = 77;
  EXPECT_EQ(error_of([&] { string_util::str2int<unsigned>(" -", count); }),
            "str2int:: a negative number provided.");
}

TEST(to_xml, writes_the_five_special_characters_as_entities) {
  EXPECT_EQ(string_util::toXML("a<b> & 'c' \"d\"\n\xc3\xa9"),
            "a&lt;b&gt; &amp; &apos;c&apos; &quot;d&quot;\n\xc3\xa9");
  EXPECT_EQ(string_util::toXML("&amp;"), "&amp;amp;");
  EXPECT_EQ(string_util::toXML(std::string("\0<", 2)), std::string("\0&lt;", 5));
}

TEST(is_utf8, knows_the_ends_of_every_range) {
  for (const char* text :
       {"", "a\x7f", "\xc2\x80", "\xdf\xbf", "\xe0\xa0\x80", "\xec\xbf\xbf", "\xed\x9f\xbf",
        "\xee\x80\x80", "\xf0\x90\x80\x80", "\xf4\x8f\xbf\xbf"}) {
    EXPECT_TRUE(string_util::is_utf8(std::string(text) + 'z')) << text;
  }
  for (const char* text : {"\x80", "\xbf", "\xc1\xbf", "\xc3", "\xc3z", "\xe0\x9f\xbf",
                           "\xed\xa0\x80", "\xe1\x80", "\xe1\x80z", "\xf0\x8f\xbf\xbf",
                           "\xf4\x90\x80\x80", "\xf1\x80\x80", "\xf5\x80\x80\x80", "\xff"}) {
    EXPECT_FALSE(string_util::is_utf8(text)) << text;
  }
  std::string bytes;
  for (int byte = 1; byte < 256; ++byte) bytes += static_cast<char>(byte);
  const std::string utf8 = string_util::utf8_of_latin1(bytes);
  EXPECT_TRUE(string_util::is_utf8(utf8));
  EXPECT_EQ(utf8.size(), 127u + 2 * 128);
  EXPECT_TRUE(utf8.ends_with("\xc3\xbe\xc3\xbf"));
}

TEST(seed_source, differs_for_every_purpose_and_index) {
  seed_source source;
  source.set(1);
  std::set<unsigned long> seeds;
  unsigned long drawn = 0;
  const auto add = [&](unsigned long seed) { seeds.insert(seed), ++drawn; };
  for (const draw purpose : {draw::shuffle, draw::sample, draw::bootstrap, draw::stratify,
                             draw::bitmap, draw::attributes}) {
    add(source.at(purpose, {}));
    for (unsigned long i = 0; i < 30; ++i) {
      add(source.next(purpose));
      add(source.at(purpose, {i}));
      for (unsigned long j = 0; j < 30; ++j) add(source.at(purpose, {i, j}));
    }
  }
  EXPECT_EQ(seeds.size(), drawn);
}

TEST(seed_source, without_a_run_seed_differs_each_time_and_after_a_fork) {
  const seed_source source;
  const auto seed = [&] { return source.at(draw::bootstrap, {1}); };
  int ends[2];
  ASSERT_EQ(pipe(ends), 0);
  std::set<unsigned long> seeds = {seed()};
  const pid_t child = fork();
  if (child == 0) {
    const unsigned long of_child = seed();
    _exit(write(ends[1], &of_child, sizeof of_child) == sizeof of_child ? 0 : 1);
  }
  unsigned long of_child = 0;
  EXPECT_EQ(read(ends[0], &of_child, sizeof of_child), ssize_t{sizeof of_child});
  waitpid(child, nullptr, 0);
  close(ends[0]), close(ends[1]);
  for (int i = 0; i < 100; ++i) seeds.insert(seed());
  EXPECT_EQ(seeds.size(), 101u);
  EXPECT_LE(*seeds.rbegin(), UINT32_MAX);
  EXPECT_FALSE(seeds.contains(of_child));
}

TEST(rand_gen, is_the_standard_engine_and_distribution) {
  rand_gen random(1000, 77);
  std::mt19937_64 engine(77);
  for (const unsigned long n : {1000UL, 3UL, 1UL << 63, 1000UL}) {
    std::uniform_int_distribution<unsigned long> uniform(0, n - 1);
    EXPECT_EQ(n == 1000 ? random() : random.below(n), uniform(engine));
  }
}

TEST(blocks, cover_the_range_once_and_are_empty_behind_it) {
  for (const std::size_t n : {0UL, 1UL, 7UL, 8UL, 9UL, 16UL}) {
    const blocks of_eight(n, 8), of_three = blocks::among(n, 3);
    EXPECT_EQ(of_eight.count(), n == 0 ? 0u : n <= 8 ? 1u : 2u);
    EXPECT_EQ(of_three.count(), std::min<std::size_t>(n, 3));
    std::size_t next = 0;
    for (std::size_t i = 0; i < 3; ++i) {
      EXPECT_EQ(of_three[i].first, next);
      next += of_three[i].size;
    }
    EXPECT_EQ(next, n);
    EXPECT_EQ(of_eight[of_eight.count()].size, 0u);
  }
  EXPECT_EQ(blocks(9, 8)[1].first, 8u);
  EXPECT_EQ(blocks(9, 8)[1].size, 1u);
}

}  // namespace
}  // namespace zel::util
