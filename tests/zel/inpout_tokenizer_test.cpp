#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "zel/inpout/tokenizer.h"

namespace {

using zel::util::tokenizer;

std::vector<std::string> tokens_of(tokenizer& splitter) {
  std::vector<std::string> tokens;
  while (splitter.more()) tokens.emplace_back(splitter.next());
  return tokens;
}

struct sample {
  const char* text;
  char separator;
  bool trim;
  std::vector<std::string> tokens;
};

TEST(tokenizer_splits, in_place_and_in_a_copy_alike) {
  const std::vector<sample> samples = {
      {"a,,b", ',', false, {"a", "", "b"}},
      {"", ',', false, {""}},
      {"a,", ',', false, {"a", ""}},
      {",", ',', true, {"", ""}},
      {" a b , c ", ',', false, {" a b ", " c "}},
      {" a b , c ", ',', true, {"a b", "c"}},
      {"   ", ',', true, {""}},
      {"a,   ,b", ',', true, {"a", "", "b"}},
      {"\ta\t b", '\t', true, {"", "a", "b"}},
      {"\xe9;\xff", ';', true, {"\xe9", "\xff"}},
  };
  for (const sample& row : samples) {
    for (const bool in_place : {true, false}) {
      SCOPED_TRACE(std::string(row.text) + (in_place ? " in place" : " copied"));
      std::string text = row.text;
      tokenizer splitter;
      splitter.set_trim(row.trim);
      splitter.tokenizing(text.data(), row.separator, in_place);
      EXPECT_EQ(tokens_of(splitter), row.tokens);
      EXPECT_STREQ(splitter.next(), "") << "past the last token";
      if (!in_place) {
        EXPECT_EQ(text, row.text) << "the original is left alone";
      }
    }
  }
}

}  // namespace
