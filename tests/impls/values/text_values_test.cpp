// Texts as the loader sees them: numbers in decimal notation, and the dictionary of cell texts.
#include <gtest/gtest.h>

#include <cmath>
#include <limits>
#include <random>
#include <string>
#include <unordered_map>
#include <vector>

#include "impls/values/text_codes.h"
#include "zel/text/decimal.h"

namespace orvik::impls {
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
    const auto parsed = zel::text::parse_decimal<TypeParam>(text);
    ASSERT_TRUE(parsed) << text;
    EXPECT_EQ(*parsed, static_cast<TypeParam>(value)) << text;
  }
  // One cell may hold any number of digits.
  const std::string digits(5000, '0');
  EXPECT_EQ(zel::text::parse_decimal<TypeParam>("1" + digits + "e-5000"), TypeParam{1});
  EXPECT_EQ(zel::text::parse_decimal<TypeParam>("0." + digits + "5e5000"), TypeParam{0.5});
}

TYPED_TEST(decimal, writes_the_shortest_text_that_reads_back) {
  using limits = std::numeric_limits<TypeParam>;
  const std::vector<std::pair<TypeParam, const char*>> rows = {
      {0, "0"},
      {TypeParam{1} / 4, "0.25"},
      {-3, "-3"},
      {*zel::text::parse_decimal<TypeParam>("0.1"), "0.1"}};
  for (const auto& [value, text] : rows) EXPECT_EQ(zel::text::shortest_decimal(value), text);
  for (const TypeParam value :
       {limits::max(), limits::lowest(), limits::denorm_min(), limits::min(), TypeParam{1} / 3}) {
    EXPECT_EQ(zel::text::parse_decimal<TypeParam>(zel::text::shortest_decimal(value)), value);
  }
}

TYPED_TEST(decimal, refuses_every_other_notation) {
  for (const char* text :
       {"",      "+",   "-",     ".",       "-.",       "e5",      "1e",        "1e+",
        "+-1",   "--1", "+ 1",   " 1",      "1 ",       "1e3x",    "1e2.5",     "0x10",
        "0x1p3", "nan", "-nan",  "nan(1)",  "inf",      "+inf",    "-Infinity", "1,5",
        "1_0",   "1f",  "1.2.3", "1e99999", "-1e99999", "\xd9\xa1"}) {
    EXPECT_FALSE(zel::text::parse_decimal<TypeParam>(text)) << text;
  }
}

TYPED_TEST(decimal, ends_at_the_largest_value_and_fades_out_at_the_smallest) {
  const auto& range = k_range<TypeParam>;
  using limits = std::numeric_limits<TypeParam>;
  EXPECT_FALSE(zel::text::parse_decimal<TypeParam>(range.beyond));
  EXPECT_FALSE(zel::text::parse_decimal<TypeParam>("-" + std::string(range.beyond)));
  EXPECT_EQ(zel::text::parse_decimal<TypeParam>(range.largest), limits::max());
  EXPECT_EQ(zel::text::parse_decimal<TypeParam>(range.denormal), limits::denorm_min());
  EXPECT_EQ(zel::text::parse_decimal<TypeParam>("-" + std::string(range.denormal)),
            -limits::denorm_min());
  EXPECT_EQ(zel::text::parse_decimal<TypeParam>(range.vanishing), TypeParam{0});
}

TYPED_TEST(decimal, has_one_zero) {
  for (const char* text : {"-0", "-0.0", "-.0e7", "-1e-99999"}) {
    const auto parsed = zel::text::parse_decimal<TypeParam>(text);
    ASSERT_TRUE(parsed) << text;
    EXPECT_FALSE(std::signbit(*parsed)) << text;
  }
}

/// Texts of 0 to 40 bytes of a small alphabet with the NUL: many repeat, many are alike but for
/// their length or one byte.
std::vector<std::string> similar_texts(std::size_t n) {
  std::mt19937_64 draw(5);
  std::vector<std::string> texts;
  while (texts.size() < n) {
    std::string text(draw() % 41, "\0a"[draw() % 2]);
    for (auto changes = draw() % 4; changes > 0 && !text.empty(); --changes) {
      text[draw() % text.size()] = "\0ab\xff"[draw() % 4];
    }
    texts.push_back(std::move(text));
  }
  return texts;
}

TEST(text_codes, agree_with_a_hash_map) {
  text_codes codes;
  std::unordered_map<std::string, text_codes::code> model;
  const std::vector<std::string> texts = similar_texts(20000);
  for (const std::string& text : texts) {
    const auto known = model.find(text);
    ASSERT_EQ(codes.find(text), known == model.end() ? 0 : known->second);
    const auto expected = model.try_emplace(text, model.size() + 1).first->second;
    ASSERT_EQ(codes.insert(text), expected);
  }
  ASSERT_EQ(codes.size(), model.size());
  EXPECT_GT(codes.size(), 5000u);  // the table has grown more than once
  char room[8];
  for (const auto& [text, code] : model) {
    ASSERT_EQ(codes.find(text), code);
    ASSERT_EQ(codes.text(code, room), text);
  }
}

}  // namespace
}  // namespace orvik::impls
