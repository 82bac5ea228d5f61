// Tables made of columns in memory, and models asked about rows there: as through files.
#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <cstdint>
#include <memory>
#include <sstream>
#include <string>
#include <vector>

#include "orvik/cell_predictor.h"
#include "orvik/orvik.h"
#include "support/error_of.h"

namespace {

using orvik::cell_array;
using orvik::column_cells;
using orvik::dtree;
using orvik::table;
namespace model = orvik::model;

/// Golf as arrays: texts as places in a list, numbers of several types.
struct golf_arrays {
  golf_arrays() {
    for (orvik::row_t row = 0; row < 14; ++row) {
      sky.push_back(static_cast<signed char>(code(0, row) - 1));
      heat.push_back(static_cast<short>(number(1, row)));
      humidity.push_back(number(2, row));
      windy.push_back(code(3, row) - 1);
      play.push_back(code(4, row) - 1);
    }
  }

  static std::unique_ptr<table> loaded() {
    auto t = std::make_unique<table>("golf");
    t->load_meta_data(ORVIK_ROOT "/examples/golf.names", ',', "?");
    t->load_data(ORVIK_ROOT "/examples/golf.data", ',', 1, nullptr);
    return t;
  }
  long code(unsigned long c, orvik::row_t row) const {
    return static_cast<long>(golf->get_schema().column(c).code_in(row));
  }
  double number(unsigned long c, orvik::row_t row) const {
    return golf->get_schema().column(c).number(golf->get_schema().column(c).code_in(row));
  }

  std::vector<column_cells> columns() const {
    return {{"outlook",
             "string",
             model::DISCRETE,
             {cell_array::INT8, sky.data(), 1, nullptr, 1, &skies}},
            {"temperature", "integer", model::CONTINUOUS, {cell_array::INT16, heat.data(), 2}},
            {"humidity", "integer", model::CONTINUOUS, {cell_array::DOUBLE, humidity.data(), 8}},
            {"windy",
             "string",
             model::DISCRETE,
             {cell_array::INT64, windy.data(), 8, nullptr, 1, &flags}},
            {"play",
             "string",
             model::CLASS,
             {cell_array::INT64, play.data(), 8, nullptr, 1, &classes}}};
  }

  std::unique_ptr<table> golf = loaded();
  std::vector<signed char> sky;
  std::vector<short> heat;
  std::vector<double> humidity;
  std::vector<long> windy, play;
  std::vector<std::string> skies{"overcast", "rainy", "sunny"}, flags{"false", "true", "maybe"},
      classes{"no", "yes"};
};

std::string csv_of(const table& t) {
  std::ostringstream out;
  t.toCSV(out, nullptr, true);
  return out.str();
}

TEST(columns_in_memory, make_the_table_that_a_file_makes) {
  const golf_arrays golf;
  table t("golf"), some("golf");
  t.load_columns(golf.columns(), 14, "?");
  EXPECT_EQ(csv_of(t), csv_of(*golf.golf));
  EXPECT_EQ(t.get_schema().column(3).n_values(), 2u);  // no row has "maybe"
  some.load_columns(golf.columns(), {3, 3, 0}, "?");
  EXPECT_EQ(
      csv_of(some),
      "outlook,temperature,humidity,windy,play\nrainy,70,96,false,yes\nrainy,70,96,false,yes\n"
      "sunny,85,85,false,no\n");
  EXPECT_EQ(error_of([&] { t.load_columns(golf.columns(), 14, "?"); }),
            "the table has its columns already");
}

TEST(columns_in_memory, are_refused_where_a_file_would_be) {
  const double infinity = HUGE_VAL, half = 0.5, negative = -1, nothing = std::nan("");
  const std::vector<std::string> odd{" a"};
  struct sample {
    const char* type;
    model::column_role role;
    cell_array cells;
    const char* error;
  };
  const signed char first = 0;
  const sample samples[] = {
      {"double",
       model::CONTINUOUS,
       {cell_array::DOUBLE, &infinity, 0},
       "an infinite number (row 1)"},
      {"integer",
       model::CONTINUOUS,
       {cell_array::DOUBLE, &half, 0},
       "a number that the column's type does not have (row 1)"},
      {"double", model::WEIGHTS, {cell_array::DOUBLE, &negative, 0}, "a negative weight (row 1)"},
      {"double",
       model::WEIGHTS,
       {cell_array::DOUBLE, &nothing, 0},
       "an unknown value, which the column does not admit (row 1)"},
      {"string", model::DISCRETE, {cell_array::DOUBLE, &half, 0}, "numbers in a column of texts"},
      {"double",
       model::CONTINUOUS,
       {cell_array::INT8, &first, 0, nullptr, 1, &odd},
       "texts in a column of numbers"},
      {"string",
       model::DISCRETE,
       {cell_array::INT8, &first, 0, nullptr, 1, &odd},
       " a: a text that no cell of a file holds"},
      {"ostring:b;c",
       model::CONTINUOUS,
       {cell_array::INT8, &first, 0, nullptr, 1, &odd},
       " a: a text that no cell of a file holds"}};
  const golf_arrays golf;
  for (const sample& s : samples) {
    table t("t");
    const auto load = [&] {
      t.load_columns({golf.columns()[4], {"x", s.type, s.role, s.cells}}, 14, "?");
    };
    EXPECT_EQ(error_of(load), std::string("column x: ") + s.error);
    EXPECT_EQ(t.get_no_columns(), 0u);
  }
  // What only all rows together show.
  const std::vector<std::string> one{"a"};
  const signed char same[2] = {0, 0};
  const double nothing_weighs[14] = {};
  table t("t");
  EXPECT_EQ(error_of([&] {
              t.load_columns(
                  {{"k", "string", model::CLASS, {cell_array::INT8, same, 0, nullptr, 1, &one}}}, 2,
                  "?");
            }),
            "there must be at least two class values");
  EXPECT_EQ(error_of([&] {
              t.load_columns(
                  {golf.columns()[4],
                   {"w", "double", model::WEIGHTS, {cell_array::DOUBLE, nothing_weighs}}},
                  14, "?");
            }),
            "Weights column 'w' requires a positive and finite sum of weights");
}

TEST(rows_in_memory, are_predicted_as_by_their_codes) {
  const golf_arrays golf;
  std::vector<unsigned char> unknown(14);
  unknown[2] = unknown[5] = 1;
  for (const int kind : {0, 1, 2, 3}) {
    dtree m("m");
    if (kind > 0) m.set_forest(false, true, 5);
    if (kind > 1) m.set_growth(orvik::k_accurate_growth);
    if (kind > 2) m.set_combination(orvik::combination::shares);
    m.set_pruning_strategy(model::NO_PRUNING);
    m.build(golf.golf.get(), nullptr);
    std::vector<cell_array> cells;
    for (const column_cells& c : golf.columns()) cells.push_back(c.cells);
    cells.pop_back();
    cells[0].unknown = unknown.data();
    std::vector<double> found(14 * 3), shares, later, plain;
    dtree::unseen_values unseen;
    const orvik::cell_predictor ready(m);
    ready.predict(cells, 14, found.data(), &unseen);
    EXPECT_TRUE(unseen.empty());
    std::vector<orvik::code_t> codes(14 * 4);
    for (orvik::row_t row = 0; row < 14; ++row) {
      golf.golf->get_schema().codes_in(row, &codes[row * 4]);
      if (unknown[row] != 0) codes[row * 4] = orvik::k_unknown;
    }
    const std::vector<dtree::prediction> expected = m.predict_codes(codes, 14, shares);
    const std::vector<dtree::prediction> together = ready.predict_codes(codes, 14, later, plain);
    EXPECT_EQ(later, shares);
    EXPECT_EQ(plain, shares);
    const bool by_votes = kind == 1 || kind == 2;
    for (std::size_t row = 0; row < 14; ++row) {
      const auto first = found.begin() + static_cast<long>(3 * row);
      const auto best = static_cast<orvik::code_t>(std::max_element(first, first + 3) - first);
      EXPECT_EQ(best, expected[row].class_code);
      EXPECT_EQ(together[row].class_code, best);
      EXPECT_EQ(together[row].confidence, expected[row].confidence);
      const double share = *(first + static_cast<long>(best));
      EXPECT_DOUBLE_EQ(share, by_votes ? expected[row].confidence : share);
    }
    std::vector<std::uint32_t> places(14);
    ready.choose(cells, 14, {2, 1}, places.data(), nullptr, orvik::run_context());
    for (std::size_t row = 0; row < 14; ++row) {
      EXPECT_EQ(places[row], found[3 * row + 2] >= found[3 * row + 1] ? 0 : 1);
    }
    for (const std::vector<orvik::code_t>& order : {std::vector<orvik::code_t>{}, {1, 3}}) {
      EXPECT_EQ(error_of([&] {
                  ready.choose(cells, 14, order, places.data(), nullptr, orvik::run_context());
                }),
                "the order is none of the model's classes");
    }
    EXPECT_EQ(found, by_votes ? found : shares);
    const std::unique_ptr<dtree> again(dtree::from_bytes(m.to_bytes()));
    orvik::cell_predictor(*again).predict(cells, 14, later.data(), nullptr);
    EXPECT_EQ(later, found);
  }
  EXPECT_NE(error_of([] { delete dtree::from_bytes("\1model"); }), "");
}

/// The unpruned tree of golf, of so many levels, asked about one row n times.
struct one_row {
  explicit one_row(unsigned long depth) {
    m.set_pruning_strategy(model::NO_PRUNING);
    m.set_max_depth(depth);
    m.build(golf.golf.get(), nullptr);
    for (const column_cells& c : golf.columns()) cells.push_back(c.cells);
    cells.pop_back();
    for (cell_array& c : cells) c.step = 0;  // that of the first, a sunny day
  }
  void ask() {
    unseen.clear();
    shares.assign(3 * k_rows, 9);
    orvik::cell_predictor(m).predict(cells, k_rows, shares.data(), &unseen);
  }

  static constexpr unsigned long k_rows = 1200;
  golf_arrays golf;
  dtree m{"m"};
  std::vector<cell_array> cells;
  std::vector<double> shares;
  dtree::unseen_values unseen;
};

TEST(rows_in_memory, go_by_numbers_of_every_type_to_either_side_of_a_cut) {
  constexpr double low = -1e300, high = 1e300, half = 75.5, at = 75, below = 74.5;
  constexpr float single = 75.25F;
  constexpr long double extended = 75.1L;
  constexpr std::int64_t least = INT64_MIN, most = INT64_MAX;
  constexpr std::uint64_t unsigned_most = UINT64_MAX;
  constexpr std::int8_t narrow = 75;
  struct sample {
    cell_array humidity;
    bool plays;  // where it is sunny and the humidity at most 75
  };
  one_row row(9);
  for (const auto& [humidity, plays] : {sample{{cell_array::DOUBLE, &low}, true},
                                        {{cell_array::DOUBLE, &below}, true},
                                        {{cell_array::DOUBLE, &at}, true},
                                        {{cell_array::DOUBLE, &half}, false},
                                        {{cell_array::DOUBLE, &high}, false},
                                        {{cell_array::FLOAT, &single}, false},
                                        {{cell_array::LONG_DOUBLE, &extended}, false},
                                        {{cell_array::INT64, &least}, true},
                                        {{cell_array::INT64, &most}, false},
                                        {{cell_array::UINT64, &unsigned_most}, false},
                                        {{cell_array::INT8, &narrow}, true}}) {
    row.cells[2] = humidity;
    row.ask();
    for (std::size_t i = 0; i < row.shares.size(); i += 3) {
      ASSERT_EQ(row.shares[i + 2], plays ? 1 : 0) << humidity.of << " " << i / 3;
    }
  }
}

TEST(rows_in_memory, are_looked_at_where_no_test_asks) {
  constexpr double infinity = HUGE_VAL;
  constexpr long maybe = 2;
  one_row row(1);  // outlook alone
  row.ask();
  const std::vector<double> expected = row.shares;
  row.cells[1] = {};
  row.cells[3].first = &maybe;
  row.ask();
  EXPECT_EQ(row.shares, expected);
  EXPECT_EQ(row.unseen, (dtree::unseen_values{{"windy", one_row::k_rows}}));
  row.cells[2].first = &infinity;
  EXPECT_EQ(error_of([&] { row.ask(); }), "column humidity: an infinite number (row 1)");
  const unsigned char marked = 1;
  row.cells[2].unknown = &marked;
  row.cells[2].unknown_step = 0;
  row.ask();
  EXPECT_EQ(row.shares, expected);
}

}  // namespace
