#include "impls/evaluation/row_coder.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <cstring>

#include "impls/support/table_text.h"

namespace orvik::impls {
namespace {

using testing::ElementsAre;
using testing::Pair;

/// Known: colour blue 1, red 2; size -5 1, 20 2, 300 3; grade low 1, mid 2, high 3; kind a 1, b 2.
std::unique_ptr<table> small_table() {
  return make_table(
      "colour,string,discrete\nnote,integer,ignore\nsize,integer,continuous\nkind,string,class\n"
      "w,double,weights\ngrade,ostring:low;mid;high,continuous\nratio,double,continuous\n",
      "red,1,20,b,2,low,0.5\nblue,2,300,a,1,high,2.5\nred,3,-5,b,3,mid,1e3\n");
}

/// The codes of `row`, or what was thrown.
template <class Read>
std::string outcome_of(row_coder& coder, const Read& read) {
  try {
    read();
  } catch (const std::runtime_error& error) {
    return error.what();
  }
  std::string codes;
  for (const std::uint32_t code : coder.codes()) codes += std::to_string(code) + ' ';
  return codes;
}

std::string tested(row_coder& coder, std::string_view row) {
  const std::string codes = outcome_of(coder, [&] { coder.read_test_row(row, ','); });
  return codes + std::to_string(coder.class_code());
}

std::string scored(row_coder& coder, std::string_view row) {
  return outcome_of(coder, [&] { coder.read_score_row(row, ','); });
}

TEST(row_coder, gives_numbers_between_known_ones_the_code_of_the_larger) {
  const auto t = small_table();
  row_coder coder(*t, {"?"});
  const struct {
    const char *size, *ratio, *codes;
  } rows[] = {{"-6", "0.4999", "2 0 1 1 1 1"},    {"-5", "0.50", "2 0 1 1 1 1"},
              {"-4", "0.5000001", "2 0 2 1 2 1"}, {"20", "2.5", "2 0 2 1 2 1"},
              {"299", "3", "2 0 3 1 3 1"},        {"300", "1000", "2 0 3 1 3 1"},
              {"301", "1e4", "2 0 4 1 4 1"},      {"?", "?", "2 0 0 1 0 1"}};
  for (const auto& row : rows) {
    const std::string line = std::string("red,x,") + row.size + ",a,1,low," + row.ratio;
    EXPECT_EQ(tested(coder, line), row.codes) << line;
    EXPECT_EQ(tested(coder, line), row.codes) << line << " again";
  }
}

TEST(row_coder, counts_what_it_takes_as_unknown) {
  const auto t = small_table();
  row_coder coder(*t, {"?", /*admit_unseen=*/true});
  EXPECT_EQ(tested(coder, "green,1,20,c,0,low,1"), "0 0 2 1 2 0");
  EXPECT_EQ(tested(coder, "green,1,20,?,0,tiny,1"), "0 0 2 0 2 0");
  EXPECT_EQ(scored(coder, "grey,1,20,c,1,low,9e9"), "0 0 2 1 4 ");
  EXPECT_EQ(coder.weight(), 0);
  EXPECT_THAT(coder.unseen(), ElementsAre(3, 0, 0, 2, 0, 1, 0));
  EXPECT_EQ(scored(coder, "red,1,x,high,1"), "x: not an int (column size)");
}

// More distinct texts than are remembered: every one is still read right, first and later.
TEST(row_coder, reads_any_number_of_distinct_texts) {
  std::string data;
  for (int i = 0; i < 6000; ++i) data += std::to_string(2 * i) + (i % 2 == 0 ? ",a\n" : ",b\n");
  const auto t = make_table("x,integer,continuous\nk,string,class\n", data);
  row_coder coder(*t, {"?"});
  for (int pass = 0; pass < 2; ++pass) {
    for (std::uint32_t i = 0; i < 12000; ++i) {
      coder.read_score_row(std::to_string(i), ',');
      ASSERT_EQ(coder.codes()[0], (i + 1) / 2 + 1) << i;
    }
  }
}

}  // namespace
}  // namespace orvik::impls
