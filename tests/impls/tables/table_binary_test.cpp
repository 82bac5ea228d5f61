// Tables to and from their binary form.
#include <gtest/gtest.h>

#include <random>

#include "impls/support/binary_text.h"
#include "impls/support/stock_tables.h"
#include "support/error_of.h"

using namespace orvik::impls;
using namespace std::string_literals;

namespace {

std::string count(unsigned long n) {
  return std::string(reinterpret_cast<const char*>(&n), sizeof(n));
}
std::string text(const std::string& t) { return "\x01" + count(t.size()) + t; }

/// The record of a table of an integer attribute, an ignored one and a class, with its parts.
struct small_record {
  std::string n_columns = count(3), admits = "\x01"s, has_null = "\x01"s;
  std::string values = "\x01" + count(2) + "\x07\0\0\0\x09\0\0\0"s;
  std::string codes = count(3) + "\x02\0\x01"s;
  std::string class_values = "\x01" + count(2) + text("p") + text("q");
  std::string class_codes = count(3) + "\x01\x02\x02"s;
  std::string end = count(2) + count(3) + "\x01"s + count(3);

  std::string bytes() const {
    return "\x01" + text("t") + n_columns + "\x01\x01" + text("integer") + admits + has_null +
           text("?") + values + text("n") + text("continuous") + codes + "\x01\x01" + text("null") +
           "\x01\x01" + text("?") + text("k") + text("ignore") + "\x01\x01" + text("string") +
           "\0\0"s + text("?") + class_values + text("c") + text("class") + class_codes + end;
  }
};

TEST(binary_table, has_one_form) {
  const auto t =
      make_table("n,integer,continuous\nk,null,ignore\nc,string,class\n", "9,?,p\n?,?,q\n7,?,q\n");
  EXPECT_EQ(bytes_of(*t), small_record().bytes());
  EXPECT_EQ(binary_of([](auto& out) { out << static_cast<const table*>(nullptr); }), "\0"s);
  EXPECT_EQ(table_of("\0"s), nullptr);

  const auto bits = make_table("b,string,discrete\nc,string,class\n", [] {
    std::string rows;
    for (int i = 0; i < 65; ++i) rows += i == 64 ? "y,p\n" : "x,q\n";
    return rows;
  }());
  EXPECT_NE(bytes_of(*bits).find(count(65) + count(0) + count(1)), std::string::npos)
      << "one bit a row, in words";
}

TEST(binary_table, comes_back_as_it_was) {
  for (const bool weighted : {false, true}) {
    const auto t = mixed_table(700, 5, weighted);
    const auto back = table_of(bytes_of(*t));
    EXPECT_EQ(bytes_of(*back), bytes_of(*t));
    ASSERT_EQ(back->n_rows(), 700u);
    for (unsigned long i = 0; i < t->n_columns(); ++i) {
      const column &a = t->get_column(i), &b = back->get_column(i);
      ASSERT_EQ(a.codes().bits, b.codes().bits) << a.name();
      for (row_t row = 0; row < 700 && a.codes().bits != 0; ++row) {
        ASSERT_EQ(a.get_row_index(row), b.get_row_index(row));
      }
    }
    EXPECT_EQ(back->has_weights(), weighted);
  }
}

TEST(binary_table, is_refused_where_its_parts_do_not_fit) {
  struct row {
    const char* error;
    std::string small_record::*part;
    std::string bytes;
  };
  const row rows[] = {
      {"no flag at byte", &small_record::n_columns, count(~0UL)},
      {"an unknown value that is not admitted", &small_record::admits, "\0"s},
      {"a code without a value in column n", &small_record::has_null, "\0"s},
      {"values out of order", &small_record::values, "\x01" + count(2) + "\x09\0\0\0\x07\0\0\0"s},
      {"a code without a value in column n", &small_record::codes, count(3) + "\x02\0\x03"s},
      {"columns of different lengths", &small_record::codes, count(2) + "\x02\0"s},
      {"values out of order", &small_record::class_values,
       "\x01" + count(2) + text("p") + text("p")},
      {"a code without a value in column c", &small_record::class_codes, count(3) + "\x01\x02\0"s},
      {"truncated after byte", &small_record::class_codes, count(~0UL >> 3)},
      {"the class is not where it should be", &small_record::end,
       count(1) + count(3) + "\x01"s + count(3)},
      {"the class is not where it should be", &small_record::end,
       count(2) + count(3) + "\x01"s + count(1)},
      {"columns of different lengths", &small_record::end,
       count(2) + count(4) + "\x01"s + count(3)},
      {"a table without a class", &small_record::end, count(2) + count(3) + "\0"s + count(3)},
      {"more data than expected", &small_record::end,
       count(2) + count(3) + "\x01"s + count(3) + "x"},
  };
  for (const row& r : rows) {
    small_record record;
    record.*r.part = r.bytes;
    const std::string error = error_of([&] { table_of(record.bytes()); });
    EXPECT_EQ(error.substr(0, std::string(r.error).size()), r.error);
  }
}

TEST(binary_table, refuses_bad_weights) {
  const auto t = make_table("c,string,class\nw,double,weights\n", "p,1\nq,2\n");
  const double values[] = {1, 2};
  const std::string good = bytes_of(*t);
  const std::string stored(reinterpret_cast<const char*>(values), sizeof(values));
  const std::size_t at = good.find(stored);
  ASSERT_NE(at, std::string::npos);
  for (const double bad : {-1.0, std::numeric_limits<double>::quiet_NaN()}) {
    const double others[] = {bad, 2};
    std::string bytes = good;
    bytes.replace(at, stored.size(), reinterpret_cast<const char*>(others), sizeof(others));
    EXPECT_NE(error_of([&] { table_of(bytes); }), "");
  }
}

TEST(binary_table, of_any_bytes_is_usable_or_refused) {
  const std::string good = bytes_of(*mixed_table(60, 9, true));
  std::mt19937_64 draw(11);
  for (int i = 0; i < 3000; ++i) {
    std::string bytes = good;
    bytes[draw() % bytes.size()] = static_cast<char>(draw());
    if (i % 8 == 0) bytes.resize(draw() % bytes.size());
    std::unique_ptr<table> t;
    if (!error_of([&] { t = table_of(bytes); }).empty() || !t) continue;
    EXPECT_EQ(bytes_of(*table_of(bytes_of(*t))), bytes_of(*t));
  }
}

}  // namespace
