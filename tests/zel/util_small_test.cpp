// The text conversions.
#include <gtest/gtest.h>

#include <string>

#include "support/error_of.h"
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

}  // namespace
}  // namespace zel::util
