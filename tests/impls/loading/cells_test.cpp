// The fast roads of the loader beside slow, obvious ones: rows of a block, texts, kept numbers.
#include <gtest/gtest.h>

#include <algorithm>
#include <limits>
#include <random>
#include <set>
#include <span>
#include <string>
#include <string_view>
#include <unordered_map>
#include <vector>

#include "impls/loading/cell_codes.h"
#include "impls/loading/row_splitter.h"
#include "impls/support/table_text.h"
#include "impls/values/text_codes.h"
#include "impls/values/value_ranks.h"
#include "support/error_of.h"
#include "zel/inpout/lines.h"
#include "zel/text/field_split.h"

namespace orvik::impls {
namespace {

using texts = std::vector<std::string>;

/// All cells of the good rows, and the bad line behind them.
texts cut_simply(std::string_view block, char separator, std::size_t columns) {
  texts cells;
  std::vector<std::string_view> fields;
  while (!block.empty()) {
    const std::string_view line = zel::inpout::take_line(block);
    zel::text::split_fields(line, separator, /*trim=*/true, fields);
    if (fields.size() != columns || zel::text::holds_nul(line) || (line.empty() && columns != 1)) {
      cells.emplace_back(line);
      break;
    }
    cells.insert(cells.end(), fields.begin(), fields.end());
  }
  return cells;
}

texts cut(std::string_view block, char separator, std::size_t columns) {
  row_splitter rows(separator, columns);
  texts cells;
  rows.start(block);
  while (const std::size_t n = rows.next()) {
    for (std::size_t row = 0; row < n; ++row) {
      for (std::size_t c = 0; c < columns; ++c) cells.emplace_back(rows.column(c)[row]);
    }
    if (rows.stopped()) break;
  }
  if (rows.stopped()) cells.emplace_back(rows.bad_line());
  return cells;
}

TEST(row_splitter, cuts_lines_as_the_splitting_of_one_line_does) {
  std::mt19937_64 draw(11);
  for (int round = 0; round < 4000; ++round) {
    const char separator = ", \t\r;"[draw() % 5];
    const std::size_t columns = 1 + draw() % 4;
    std::string block;
    for (auto rows = draw() % 300; rows > 0; --rows) {
      const auto odd = draw() % 400;
      const std::size_t fields = columns + (odd == 0) - (odd == 1);
      for (std::size_t i = 0; i < fields; ++i) {
        if (i > 0) block += separator;
        for (auto n = 1 + draw() % 9; n > 1; --n) block += "ab12  \r"[draw() % (n < 3 ? 7 : 4)];
      }
      if (draw() % 9 == 0) block += separator;
      if (draw() % 900 == 0) block += '\0';
      block += draw() % 2 ? "\n" : "\r\n";
    }
    if (draw() % 2 == 0) block = block.substr(0, block.size() - std::min(block.size(), draw() % 3));
    const std::string padded = block + std::string(cell_batch::k_readable, '7');
    const std::string_view text = std::string_view(padded).substr(0, block.size());
    ASSERT_EQ(cut(text, separator, columns), cut_simply(text, separator, columns))
        << testing::PrintToString(block) << columns;
  }
}

/// Texts of 0 to 40 bytes of a small alphabet with the NUL: many repeat, many are alike but for
/// their length or one byte.
texts similar_texts(std::size_t n) {
  std::mt19937_64 draw(5);
  texts all;
  while (all.size() < n) {
    std::string text(draw() % 41, "\0a"[draw() % 2]);
    for (auto changes = draw() % 4; changes > 0 && !text.empty(); --changes) {
      text[draw() % text.size()] = "\0ab\xff"[draw() % 4];
    }
    all.push_back(std::move(text));
  }
  return all;
}

TEST(text_codes, agree_with_a_hash_map) {
  text_codes codes;
  std::unordered_map<std::string, text_codes::code> model;
  for (const std::string& text : similar_texts(20000)) {
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

template <class Code>
void append_codes(const cell_codes& all, const cell_codes::chunk& c,
                  std::vector<cell_codes::code>& to) {
  const Code* const codes = all.codes<Code>(c);
  to.insert(to.end(), codes, codes + c.cells);
}

// Codes as they come, one by one or some at once, about the largest of each width.
TEST(cell_codes, give_back_what_they_were_given) {
  const std::vector<cell_codes::code> given{0, 255, 256, 1, 65535, 65536, 2, 1U << 31};
  for (std::size_t first = 0; first < given.size(); ++first) {
    for (const std::size_t at_once : {std::size_t{1}, given.size()}) {
      cell_codes all;
      const auto rest = std::span(given).subspan(first);
      for (std::size_t at = 0; at < rest.size(); at += at_once) {
        all.append(rest.subspan(at, std::min(at_once, rest.size() - at)));
      }
      std::vector<cell_codes::code> found;
      for (std::size_t i = 0; i < all.end_chunk(); ++i) {
        const cell_codes::chunk& c = all.at(i);
        if (c.width == 1) append_codes<std::uint8_t>(all, c, found);
        if (c.width == 2) append_codes<std::uint16_t>(all, c, found);
        if (c.width == 4) append_codes<std::uint32_t>(all, c, found);
      }
      EXPECT_TRUE(std::ranges::equal(found, rest)) << first << " " << at_once;
    }
  }
}

// Few values, many, few that become many, and many of which one is nearly everywhere.
TEST(value_ranks, are_places_among_the_sorted_values) {
  constexpr unsigned k_rows[][3] = {{50, 50, 1}, {90000, 90000, 1}, {9, 5000, 1}, {5000, 5000, 9}};
  std::mt19937_64 draw(8);
  for (const auto& [first, then, zeros] : k_rows) {
    std::vector<double> all;
    for (int i = 0; i < 40000; ++i) {
      const auto kind = static_cast<double>(draw() % (i < 20000 ? first : then));
      all.push_back(draw() % zeros == 0 ? -1e9 - 1e-3 * kind : 0);
    }
    std::vector<growing_array<double>> parts(2);
    parts[0].append(std::span(all).first(7));
    parts[1].append(std::span(all).subspan(7));
    const ranked_values<double> ranked = rank_values(std::move(parts));
    EXPECT_TRUE(std::ranges::equal(ranked.values, std::set(all.begin(), all.end())));
    ASSERT_EQ(ranked.ranks.size(), all.size());
    for (std::size_t i = 0; i < all.size(); ++i) {
      ASSERT_EQ(ranked.values.at(ranked.ranks[i] - 1), all[i]);
    }
  }
}

// Columns of many values turn from dictionaries to kept numbers on the way, and back to nothing.
TEST(loading_many_values, gives_every_cell_its_value_and_finds_the_bad_one) {
  const std::string types[] = {"integer", "uinteger", "float", "double", "long double"};
  std::mt19937_64 draw(15);
  for (const unsigned long workers : {1, 2, 7}) {
    std::string names, data;
    for (const std::string& type : types) names += "a," + type + ",continuous\n";
    names += "s,string,discrete\nc,string,class\n";
    std::vector<texts> rows(30000);
    for (std::size_t r = 0; r < rows.size(); ++r) {
      for (std::size_t i = 0; i < std::size(types); ++i) {
        const std::string whole = std::to_string(draw() % (i == 0 ? 1000000000 : 100000));
        const std::string text = i < 2 ? whole : whole + "." + std::to_string(draw() % 100);
        rows[r].push_back(draw() % 10 == 0 ? "?" : text);
      }
      rows[r].push_back("text number " + std::to_string(draw() % 70000));
      for (const std::string& cell : rows[r]) data += cell + ",";
      data += r % 2 ? "x\n" : "y\n";
    }
    const auto t = make_schema(names);
    load_rows(*t, data, workers, ',', 50000);
    ASSERT_EQ(t->n_rows(), rows.size());
    for (std::size_t i = 0; i < rows[0].size(); ++i) {
      const column& c = t->get_column(i);
      for (std::size_t r = 0; r < rows.size(); ++r) {
        code_t code;
        ASSERT_TRUE(c.values()->get_order(rows[r][i].c_str(), code)) << rows[r][i];
        ASSERT_EQ(c.get_row_index(r), code) << rows[r][i];
      }
    }
    const std::string bad_row = "1,2,3,4,5x,t,y\n1,z,3,4,5,t,y\n";
    EXPECT_EQ(
        error_of([&] { load_rows(*make_schema(names), data + bad_row, workers, ',', 50000); }),
        "5x: not a double (row 30001, column a)");
  }
}

}  // namespace
}  // namespace orvik::impls
