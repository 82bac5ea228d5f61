// Numbers and short texts as cells have them.
#include <gtest/gtest.h>

#include <charconv>
#include <cmath>
#include <limits>
#include <random>
#include <set>
#include <string>
#include <vector>

#include "zel/text/decimal.h"
#include "zel/text/field_split.h"
#include "zel/text/hash.h"
#include "zel/text/message.h"
#include "zel/text/text_word.h"

namespace zel::text {
namespace {

template <class T>
struct range_of_type {
  const char *beyond, *largest, *denormal, *vanishing;
};
template <class T>
constexpr range_of_type<T> k_range{"1e309", "1.7976931348623157e308", "4.9e-324", "1e-400"};
template <>
constexpr range_of_type<float> k_range<float>{"3.5e38", "3.4028235e38", "1.4e-45", "1e-50"};
template <>
constexpr range_of_type<long double> k_range<long double>{"1e4933", "1.18973149535723176502e4932",
                                                          "3.7e-4951", "1e-5000"};

template <class T>
class decimal : public testing::Test {};
using floating_types = testing::Types<float, double, long double>;
TYPED_TEST_SUITE(decimal, floating_types);

TYPED_TEST(decimal, reads_decimal_notation_whole) {
  const std::vector<std::pair<const char*, double>> rows = {
      {"0", 0},        {"7", 7},
      {"+7", 7},       {"-7", -7},
      {"007", 7},      {"1.", 1},
      {".5", .5},      {"-.5e1", -5},
      {"1E+3", 1000},  {"25e-1", 2.5},
      {"-0.25", -.25}, {"0e99999", 0},
      {"1e-99999", 0}, {"16777216.0", 16777216}};
  for (const auto& [text, value] : rows) {
    const auto parsed = parse_decimal<TypeParam>(text);
    ASSERT_TRUE(parsed) << text;
    EXPECT_EQ(*parsed, static_cast<TypeParam>(value)) << text;
  }
  // One cell may hold any number of digits.
  const std::string digits(5000, '0');
  EXPECT_EQ(parse_decimal<TypeParam>("1" + digits + "e-5000"), TypeParam{1});
  EXPECT_EQ(parse_decimal<TypeParam>("0." + digits + "5e5000"), TypeParam{0.5});
}

TYPED_TEST(decimal, writes_the_shortest_text_that_reads_back) {
  using limits = std::numeric_limits<TypeParam>;
  const std::vector<std::pair<TypeParam, const char*>> rows = {
      {0, "0"}, {TypeParam{1} / 4, "0.25"}, {-3, "-3"}, {*parse_decimal<TypeParam>("0.1"), "0.1"}};
  for (const auto& [value, text] : rows) EXPECT_EQ(shortest_decimal(value), text);
  for (const TypeParam value :
       {limits::max(), limits::lowest(), limits::denorm_min(), limits::min(), TypeParam{1} / 3}) {
    EXPECT_EQ(parse_decimal<TypeParam>(shortest_decimal(value)), value);
  }
}

TYPED_TEST(decimal, refuses_every_other_notation) {
  for (const char* text :
       {"",      "+",   "-",     ".",       "-.",       "e5",      "1e",        "1e+",
        "+-1",   "--1", "+ 1",   " 1",      "1 ",       "1e3x",    "1e2.5",     "0x10",
        "0x1p3", "nan", "-nan",  "nan(1)",  "inf",      "+inf",    "-Infinity", "1,5",
        "1_0",   "1f",  "1.2.3", "1e99999", "-1e99999", "\xd9\xa1"}) {
    EXPECT_FALSE(parse_decimal<TypeParam>(text)) << text;
  }
}

TYPED_TEST(decimal, ends_at_the_largest_value_and_fades_out_at_the_smallest) {
  const auto& range = k_range<TypeParam>;
  using limits = std::numeric_limits<TypeParam>;
  EXPECT_FALSE(parse_decimal<TypeParam>(range.beyond));
  EXPECT_FALSE(parse_decimal<TypeParam>("-" + std::string(range.beyond)));
  EXPECT_EQ(parse_decimal<TypeParam>(range.largest), limits::max());
  EXPECT_EQ(parse_decimal<TypeParam>(range.denormal), limits::denorm_min());
  EXPECT_EQ(parse_decimal<TypeParam>("-" + std::string(range.denormal)), -limits::denorm_min());
  EXPECT_EQ(parse_decimal<TypeParam>(range.vanishing), TypeParam{0});
}

TYPED_TEST(decimal, has_one_zero) {
  for (const char* text : {"-0", "-0.0", "-.0e7", "-1e-99999"}) {
    const auto parsed = parse_decimal<TypeParam>(text);
    ASSERT_TRUE(parsed) << text;
    EXPECT_FALSE(std::signbit(*parsed)) << text;
  }
}

TYPED_TEST(decimal, of_few_digits_is_the_nearest_value) {
  std::mt19937_64 draw(13);
  for (int round = 0; round < 100000; ++round) {
    std::string text = std::to_string(draw() >> draw() % 64).substr(0, 1 + draw() % 18);
    text.insert(draw() % (text.size() + 1), ".");
    const std::string_view with_exponent = text += "e0";  // never a short one
    const auto parsed = parse_decimal<TypeParam>(with_exponent.substr(0, text.size() - 2));
    ASSERT_EQ(parsed, parse_decimal<TypeParam>(with_exponent)) << text;
  }
}

TEST(text_word, reads_digits_as_the_platform_does_and_nothing_else) {
  std::mt19937_64 draw(12);
  for (int round = 0; round < 200000; ++round) {
    std::string text(draw() % 9, '0');
    for (char& c : text) c = static_cast<char>('0' + draw() % 10);
    if (draw() % 2 == 0 && !text.empty()) text[draw() % text.size()] = static_cast<char>(draw());
    std::uint32_t expected = 0, number = 0;
    const auto [stop, error] = std::from_chars(text.data(), text.data() + text.size(), expected);
    const bool digits = error == std::errc() && stop == text.data() + text.size();
    const std::string padded = text + "12345678";
    const std::size_t n = text.size();
    const std::uint64_t word = word_at(padded.data(), n);
    ASSERT_EQ(number_of_digits(word, n, number), digits) << text;
    ASSERT_EQ(word, word_of(text)) << text;
    ASSERT_EQ(number, digits ? expected : 0u) << text;
  }
}

TEST(hash, tells_texts_apart_by_every_byte_and_their_length) {
  std::set<std::uint64_t> found;
  std::size_t texts = 0;
  for (std::size_t length = 0; length < 40; ++length) {
    const std::string zeros(length, '\0');
    found.insert(hash_of(zeros)), ++texts;
    for (std::size_t at = 0; at < length; ++at) {
      for (const char byte : {'\1', 'a', '\xff'}) {
        std::string text = zeros;
        text[at] = byte;
        found.insert(hash_of(text)), ++texts;
      }
    }
  }
  EXPECT_EQ(found.size(), texts);
}

TEST(fields, are_cut_and_trimmed) {
  const struct {
    const char* line;
    char separator;
    bool trim;
    std::vector<std::string_view> fields;
  } rows[] = {{"", ',', true, {""}},
              {"a,,b,", ',', true, {"a", "", "b"}},
              {",", ',', false, {""}},
              {" a , b", ',', true, {"a", "b"}},
              {" a , b", ',', false, {" a ", " b"}},
              {"  a   b ", ' ', true, {"a", "b"}},
              {" ", ' ', true, {""}},
              {"\ta\t", ',', true, {"\ta\t"}}};
  std::vector<std::string_view> fields;
  for (const auto& row : rows) {
    split_fields(row.line, row.separator, row.trim, fields);
    EXPECT_EQ(fields, row.fields) << row.line;
  }
}

TEST(message, is_one_line_of_bounded_length) {
  EXPECT_EQ(one_line("a\nb\r\tc\x7f caf\xc3\xa9"), "a?b??c? caf\xc3\xa9");
  EXPECT_EQ(one_line(std::string(10000, 'x')).size(), 10000U);
  EXPECT_EQ(one_line(std::string(5000, 'x') + std::string(5001, 'y')),
            std::string(200, 'x') + " ... " + std::string(200, 'y'));
  EXPECT_EQ(text::quoted(std::string(300, '\x1b')), std::string(200, '?'));
}

}  // namespace
}  // namespace zel::text
