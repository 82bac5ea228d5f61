// The stopwatch, the text conversions and the search for the largest number.
#include <gtest/gtest.h>

#include <list>
#include <stdexcept>
#include <string>
#include <vector>

#include "support/error_of.h"
#include "zel/util/cronos.h"
#include "zel/util/number_util.h"
#include "zel/util/string_util.h"

namespace zel::util {
namespace {

TEST(cronos, adds_the_whole_interval_at_every_stop) {
  cronos watch;
  EXPECT_EQ(watch.get_elapsed(), 0);
  EXPECT_EQ(watch.get_process(), 0);
  watch.start();
  cronos::sleep(2);
  watch.stop();
  const double once = watch.get_elapsed();
  EXPECT_GT(once, 0);
  watch.stop();
  EXPECT_GE(watch.get_elapsed(), 2 * once);
  EXPECT_GE(watch.get_process(), 0);
  watch.restart();
  EXPECT_GE(watch.get_elapsed(), 2 * once);  // kept
  watch.start();
  EXPECT_EQ(watch.get_elapsed(), 0);
}

TEST(cronos, refuses_to_sleep_longer_than_64_bits_of_microseconds) {
  constexpr char text[] = "cronos::sleep() called with too much time";
  EXPECT_EQ(error_of([] { cronos::sleep(18446744073709551UL); }), text);
  EXPECT_EQ(error_of([] { cronos::sleep(~0UL); }), text);
  EXPECT_EQ(error_of([] { cronos::sleep(0); }), "");
}

TEST(cronos, tells_the_time_as_a_line_of_24_characters) {
  const std::string now = cronos::get_current_time();
  ASSERT_EQ(now.size(), 25);
  EXPECT_EQ(now[13], ':');
  EXPECT_EQ(now[16], ':');
  EXPECT_EQ(now.back(), '\n');
}

TEST(argmax, is_the_first_position_of_the_largest_value) {
  using number_util::argmax;
  EXPECT_EQ(argmax(std::vector<int>{3, 7, 7}), 1);
  EXPECT_EQ(argmax(std::vector<int>{9}), 0);
  EXPECT_EQ(argmax(std::list<double>{-3, -2, -1.5}), 2);
  EXPECT_EQ(argmax(std::vector<double>{0, 0, 0}), 0);
  EXPECT_EQ(error_of([] { argmax(std::vector<int>{}); }),
            "number_util::argmax called with empty range");
}

template <class T>
struct number {
  const char* text;
  T value;
  std::string error;
};

template <class T>
void check(const std::vector<number<T>>& table) {
  for (const number<T>& n : table) {
    T value = 77;
    const std::string error = error_of([&] { string_util::str2int<T>(n.text, value); });
    EXPECT_EQ(error, n.error) << n.text;
    EXPECT_EQ(value, n.value) << n.text;
  }
}

TEST(str2int, reads_signed_numbers) {
  check<int>({
      {" 42", 42, ""},
      {"  -42", -42, ""},
      {"+007", 7, ""},
      {"-", 0, ""},
      {" +", 0, ""},
      {"2147483647", 2147483647, ""},
      {"-2147483647", -2147483647, ""},
      {"2147483648", 77, "str2int:: overflow"},
      {"-2147483648", 77, "str2int:: overflow"},
      {"99999999999x", 77, "str2int:: overflow"},
      {"42 ", 77, "42 : not an int"},
      {" 4x2", 77, " 4x2: not an int"},
      {"\t4", 77, "\t4: not an int"},
      {"--4", 77, "--4: not an int"},
      {"", 77, ": not an int"},
      {"  ", 77, "  : not an int"},
      {nullptr, 77, "str2int:: cannot convert a NULL string."},
  });
}

TEST(str2int, reads_unsigned_numbers) {
  check<unsigned>({
      {"4294967295", 4294967295U, ""},
      {"+1", 1, ""},
      {"4294967296", 77, "str2int:: overflow"},
      {"42949672950", 77, "str2int:: overflow"},
      {"-1", 77, "str2int:: a negative number provided."},
      {" -", 77, "str2int:: a negative number provided."},
  });
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

}  // namespace
}  // namespace zel::util
