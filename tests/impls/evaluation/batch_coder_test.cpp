#include "impls/evaluation/batch_coder.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <random>

#include "impls/support/table_text.h"
#include "zel/inpout/lines.h"

namespace orvik::impls {
namespace {

using rows = batch_coder::rows;

/// Columns of all kinds with many values; "7" is the unknown value of the run in some cases.
std::unique_ptr<table> many_values() {
  std::mt19937 draw(5);
  std::string data;
  for (int row = 0; row < 300; ++row) {
    data += std::to_string(static_cast<int>(draw() % 2000) - 500) + ',' +
            std::to_string(draw() % 100000) + ',' + std::to_string(draw() % 700 / 8.0) + ',' +
            "abcdefghijkl"[draw() % 12] + std::string(draw() % 3 * 5, 'x') + ',' +
            std::to_string(draw() % 4) + ",c" + std::to_string(draw() % 3) + ",1," +
            (draw() % 2 ? "lo" : "hi") + '\n';
  }
  return make_table(
      "i,integer,continuous\nu,uinteger,continuous\nd,float,continuous\ns,string,discrete\n"
      "n,integer,discrete\nc,string,class\nw,double,weights\no,ostring:lo;mid;hi,continuous\n",
      data);
}

std::string random_cell(std::mt19937& draw, int kind) {
  const char* const odd[] = {"?", "", "7", "x", "1e2", "-0", "99999999999", "00012", "c9", "?"};
  switch (kind) {
    case 0:
      return std::to_string(static_cast<int>(draw() % 3000) - 1000);
    case 1:
      return std::to_string(draw() % 8 / 8.0 + draw() % 100);
    case 2:
      return "c" + std::to_string(draw() % 3);
    case 3:
      return std::string(1, "abcdefghijkl"[draw() % 12]) + std::string(draw() % 3 * 5, 'x');
    case 4:
      return draw() % 2 ? "lo" : "mid";
    case 6:
      return std::to_string(draw() % 150000);
    case 7:
      return std::to_string(draw() % 4);
    default:
      return odd[draw() % std::size(odd)];
  }
}

/// A text whose rows mostly have the form of the table's, or lack its last columns of kind.
std::string random_rows(std::mt19937& draw, std::vector<int> kinds, unsigned oddness) {
  if (draw() % 3 == 0) kinds.erase(kinds.begin() + 5);  // the class
  std::string text;
  for (unsigned long n = draw() % 400; n-- > 0;) {
    for (std::size_t i = 0; i < kinds.size(); ++i) {
      const int kind = draw() % oddness == 0 ? 5 : kinds[i];
      text += (i == 0 ? "" : ",") + random_cell(draw, kind) + (draw() % 50 == 0 ? " " : "");
    }
    if (draw() % (oddness * 9) == 0) text += ',';
    text += draw() % 20 == 0 ? "\r\n" : "\n";
  }
  if (!text.empty() && draw() % 2) text.pop_back();
  return text;
}

struct slow_result {
  std::vector<std::uint32_t> codes;
  std::vector<code_t> classes;
  std::vector<double> weights;
  std::optional<std::string> error;
};

slow_result read_one_by_one(row_coder& coder, std::string_view text, rows what) {
  slow_result all;
  while (!text.empty() && !all.error) {
    try {
      const std::string_view line = zel::inpout::take_line(text);
      what == rows::TEST ? coder.read_test_row(line, ',') : coder.read_score_row(line, ',');
      all.codes.insert(all.codes.end(), coder.codes().begin(), coder.codes().end());
      all.classes.push_back(coder.class_code());
      all.weights.push_back(coder.weight());
    } catch (const std::runtime_error& failure) {
      all.error = failure.what();
    }
  }
  return all;
}

// Whatever a text holds, it gives the rows, the error and the counts that its rows give one by one;
// codes of numbers lie alike among the limits.
TEST(batch_coder, takes_what_rows_give_one_by_one) {
  const auto t = many_values();
  std::mt19937 draw(1);
  unsigned long good_rows = 0, errors = 0, clean = 0;
  for (int round = 0; round < 300; ++round) {
    std::vector<std::vector<code_t>> limits(t->n_attributes());
    for (unsigned long a = 0; a < t->n_attributes(); ++a) {
      for (unsigned long n = draw() % 2 ? draw() % 4 : draw() % 200; n-- > 0;) {
        limits[a].push_back(1 + draw() % t->column_of(a).values()->size_of_known());
      }
      std::ranges::sort(limits[a]);
      limits[a].erase(std::ranges::unique(limits[a]).begin(), limits[a].end());
    }
    const coded_columns columns(*t, limits);
    const row_coder::rules how{draw() % 2 ? "?" : "7", draw() % 2 == 0};
    row_coder slow(*t, how);
    batch_coder fast(*t, how, columns);
    for (int part = 0; part < 3; ++part) {
      const rows what = draw() % 2 ? rows::TEST : rows::SCORE;
      const std::string text =
          random_rows(draw, {0, 6, 1, 3, 7, 2, 1, 4}, draw() % 2 ? 200 : 100000);
      const slow_result expected = read_one_by_one(slow, text, what);
      std::string padded = text + std::string(cell_batch::k_readable, '\0');
      ASSERT_EQ(fast.take(std::string_view(padded).substr(0, text.size()), what, ','),
                expected.error);
      const std::size_t width = t->n_attributes();
      ASSERT_EQ(fast.size() * width, expected.codes.size());
      for (std::size_t i = 0; i < expected.codes.size(); ++i) {
        const code_t code = fast.codes()[i], exact = expected.codes[i];
        ASSERT_EQ(code == k_unknown, exact == k_unknown) << text;
        ASSERT_TRUE(columns.numbers[i % width] != nullptr || code == exact);
        for (const code_t limit : limits[i % width]) ASSERT_EQ(code > limit, exact > limit);
      }
      for (std::size_t i = 0; what == rows::TEST && i < fast.size(); ++i) {
        ASSERT_EQ(fast.class_code(i), expected.classes[i]);
        ASSERT_EQ(fast.weight(i), expected.weights[i]);
      }
      ASSERT_EQ(fast.unseen(), slow.unseen());
      good_rows += fast.size();
      errors += expected.error.has_value();
      clean += !expected.error && fast.size() > 128;
    }
  }
  // The cases are no empty ones.
  EXPECT_GT(good_rows, 20000UL);
  EXPECT_GT(errors, 100UL);
  EXPECT_GT(clean, 50UL);
}

}  // namespace
}  // namespace orvik::impls
