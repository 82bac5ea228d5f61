// Tables to and from their binary form.
#include <gtest/gtest.h>

#include <cstring>
#include <functional>
#include <random>

#include "impls/evaluation/row_coder.h"
#include "impls/model/dtree.h"
#include "impls/support/binary_text.h"
#include "impls/support/stock_tables.h"
#include "impls/tables/folds.h"
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
  std::string type = text("integer"), name = text("n");
  std::string values = "\x01" + count(2) + "\x07\0\0\0\x09\0\0\0"s;
  std::string codes = count(3) + "\x02\0\x01"s;
  std::string class_unknown = text("?");
  std::string class_values = "\x01" + count(2) + text("p") + text("q");
  std::string class_codes = count(3) + "\x01\x02\x02"s;
  std::string end = count(2) + count(3) + "\x01"s + count(3);

  std::string bytes() const {
    return "\x01" + text("t") + n_columns + "\x01\x01" + type + admits + has_null + text("?") +
           values + name + text("continuous") + codes + "\x01\x01" + text("null") + "\x01\x01" +
           text("?") + text("k") + text("ignore") + "\x01\x01" + text("string") + "\0\0"s +
           class_unknown + class_values + text("c") + text("class") + class_codes + end;
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
      {"equal values in column n", &small_record::values,
       "\x01" + count(2) + "\x09\0\0\0\x09\0\0\0"s},
      {"a value that no text is read as", &small_record::values,
       "\x01" + count(2) + "\0\0\0\x80\x09\0\0\0"s},
      {"a text that no line of metadata holds", &small_record::name, text("n\n")},
      {"a text that no line of metadata holds", &small_record::name, text("n\0"s)},
      {"a code without a value in column n", &small_record::codes, count(3) + "\x02\0\x03"s},
      {"a value without a row in column n", &small_record::codes, count(3) + "\x02\x01\x01"s},
      {"a value without a row in column n", &small_record::codes, count(3) + "\x02\0\x02"s},
      {"a value without a row in column n", &small_record::codes, count(3) + "\0\0\x01"s},
      {"columns of different lengths", &small_record::codes, count(4) + "\x02\0\x01\x01"s},
      {"columns with different texts of the unknown value", &small_record::class_unknown,
       text("-")},
      {"values out of order", &small_record::class_values,
       "\x01" + count(2) + text("p") + text("p")},
      {"an unknown value that is not admitted", &small_record::class_values,
       "\x01" + count(2) + text("?") + text("q")},
      {"a value that no text is read as", &small_record::class_values,
       "\x01" + count(2) + text("p") + text("q\n")},
      {"a value that no text is read as", &small_record::class_values,
       "\x01" + count(2) + text("p") + text("q\0"s)},
      {"a value that no text is read as", &small_record::class_values,
       "\x01" + count(2) + text(" p") + text("q")},
      {"a value that no text is read as", &small_record::class_values,
       "\x01" + count(2) + text("p") + text("q ")},
      {"a code without a value in column c", &small_record::class_codes, count(3) + "\x01\x02\0"s},
      {"a value without a row in column c", &small_record::class_codes, count(3) + "\x01\x01\x01"s},
      {"truncated after byte", &small_record::class_codes, count(~0UL >> 3)},
      {"the class is not where it should be", &small_record::end,
       count(1) + count(3) + "\x01"s + count(3)},
      {"the class is not where it should be", &small_record::end,
       count(2) + count(3) + "\x01"s + count(1)},
      {"columns of different lengths", &small_record::end,
       count(2) + count(4) + "\x01"s + count(3)},
      {"the class is not where it should be", &small_record::end,
       count(3) + count(3) + "\x01"s + count(3)},
      {"the class is not where it should be", &small_record::end,
       count(3) + count(3) + "\0"s + count(2)},
      {"a table without columns", &small_record::n_columns, count(0)},
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

/// The bytes of two numbers.
template <class T>
std::string stored(T first, T second) {
  const T both[] = {first, second};
  return binary_of([&both](auto& out) { out.write_array(std::span<const T>(both)); });
}

/// The error of a table of a column of this type and role, its values 1 and 2 replaced by others.
template <class T>
std::string error_with(const std::string& type, const std::string& role, T first, T second) {
  std::string bytes =
      bytes_of(*make_table("c,string,class\nx," + type + "," + role + "\n", "p,1\nq,2\n"));
  const std::size_t at = bytes.find(stored<T>(1, 2));
  bytes.replace(at, 2 * sizeof(T), stored(first, second));
  return error_of([&] { EXPECT_EQ(bytes_of(*table_of(bytes)), bytes); });
}

TEST(binary_table, holds_numbers_that_texts_are_read_as) {
  const std::string none = "a value that no text is read as", equal = "equal values in column x";
  constexpr double inf = std::numeric_limits<double>::infinity();
  constexpr double nan = std::numeric_limits<double>::quiet_NaN();
  const struct {
    std::string role;
    double first, second;
    std::string error;
  } rows[] = {
      {"ignore", -1e308, 4.9e-324, ""},
      {"continuous", 2, 2, equal},
      {"discrete", 0, 0, equal},
      {"continuous", -0.0, 2, none},
      {"continuous", -2, -0.0, none},
      {"continuous", -0.0, 0, none},
      {"continuous", 2, inf, none},
      {"continuous", -inf, 2, none},
      {"continuous", nan, 2, "values out of order"},
      {"weights", 2, 2, ""},
      {"weights", 0, 2, ""},
      {"weights", 0, -0.0, none},
      {"weights", -1, 2, "x: negative value in a column of weights"},
      {"weights", 1, nan, "values out of order"},
      {"weights", 0, 0, "Weights column 'x' requires a positive and finite sum of weights"},
  };
  for (const auto& r : rows) {
    EXPECT_EQ(error_with<double>("double", r.role, r.first, r.second), r.error)
        << r.role << r.first << ' ' << r.second;
  }
  EXPECT_EQ(error_with<float>("float", "continuous", -0.0F, 2), none);
  EXPECT_EQ(error_with<float>("float", "continuous", 1e-45F, 3e38F), "");
  EXPECT_EQ(error_with<unsigned>("uinteger", "continuous", 0, ~0U), "");
  EXPECT_EQ(error_with<int>("integer", "continuous", -2147483647, 2147483647), "");
  EXPECT_EQ(error_with<int>("integer", "continuous", -2147483647 - 1, 2147483647), none);

  long double unusual = 0;  // the smallest normal number, written as none that is computed
  const std::uint64_t mantissa = 1UL << 63;
  std::memcpy(&unusual, &mantissa, sizeof mantissa);
  EXPECT_EQ(error_with<long double>("long double", "continuous", unusual, 2), none);
}

// What a writer can make of a table must be read: the weights too when rescaling made them equal.
TEST(binary_table, comes_back_with_rescaled_weights) {
  const auto t = make_table("w,,weights\nc,string,class\n",
                            "1.9999999999999998,p\n1.9999999999999996,q\n1.9999999999999993,q\n"
                            "1.9999999999999991,p\n1.0909,p\n");
  t->rescale_weights();
  const o_set& weights = *t->get_column(0).values();
  bool repeated = false;
  for (code_t c = 2; c <= 5; ++c) {
    repeated = repeated || weights.get_value_as_double(c) == weights.get_value_as_double(c - 1);
  }
  EXPECT_TRUE(repeated);
  EXPECT_EQ(bytes_of(*table_of(bytes_of(*t))), bytes_of(*t));
}

TEST(binary_table, without_rows_may_have_values_that_no_row_has) {
  const auto schema = mixed_table(300, 5, true)->clone(/*schema_only=*/true);
  EXPECT_EQ(bytes_of(*table_of(bytes_of(*schema))), bytes_of(*schema));
  for (const std::string rows : {"a,p\nb,q\n", "a,p\n?,q\n"}) {
    std::string bytes = bytes_of(*make_table("b,string,discrete\nc,ostring:p;q;r,class\n", rows));
    EXPECT_EQ(bytes_of(*table_of(bytes)), bytes) << "declared values need no row";
    // One bit a row, or a byte: the second row then holds what the first one does.
    const bool bits = rows.find('?') == rows.npos;
    const std::size_t at = bytes.find(bits ? count(2) + count(2) : count(2) + "\x01\0"s) + 8;
    for (const char same : bits ? "\x00\x03"s : "\x01"s) {
      bytes[bits ? at : at + 1] = same;
      EXPECT_EQ(error_of([&] { table_of(bytes); }), "a value without a row in column b");
    }
  }
}

TEST(binary_table, may_have_unknown_cells_as_a_value_of_their_own) {
  const char names[] =
      "s,string,discrete\no,ostring:lo;hi,discrete\nn,integer,discrete\n"
      "all,string,discrete\nc,string,class\n";
  const auto t = make_table(names, "x,lo,?,1,p\n?,?,2,2,q\nx,hi,3,2,q\na,?,2,1,p\n");
  const std::string plain = bytes_of(*t);
  t->own_unknowns();
  const auto back = table_of(bytes_of(*t));
  for (const table* of :
       {static_cast<const table*>(t.get()), static_cast<const table*>(back.get())}) {
    const o_set &texts = *of->column_of(0).values(), &ordered = *of->column_of(1).values();
    EXPECT_EQ(texts.size_of_known(), 3u);
    EXPECT_EQ(texts.get_value(texts.code_of_null()), "?");
    EXPECT_EQ(of->column_of(0).get_row_index(1), texts.code_of_null());
    EXPECT_EQ(texts.get_value(of->column_of(0).get_row_index(3)), "a");
    EXPECT_EQ(ordered.code_of_null(), 3u) << "behind the declared ones";
    EXPECT_EQ(ordered.get_value(of->column_of(1).get_row_index(2)), "hi");
    EXPECT_EQ(code_of_text(of->column_of(0), "NA", /*missing=*/"NA"), texts.code_of_null());
    EXPECT_EQ(of->column_of(2).get_row_index(0), k_unknown) << "numbers stay numbers";
    EXPECT_EQ(of->column_of(3).values()->code_of_null(), k_unknown) << "no cell of it is unknown";
  }
  std::string bytes = bytes_of(*t);
  bytes[bytes.find(count(1) + "?") - 2] = 1;  // of the first column: admits unknown values too
  EXPECT_NE(error_of([&] { table_of(bytes); }), "");
  EXPECT_NE(bytes_of(*t), plain);
  t->own_unknowns();
  EXPECT_EQ(bytes_of(*t), bytes_of(*back)) << "once is enough";
}

TEST(binary_table, without_a_class_is_one_too) {
  dripping_text names("a,integer,continuous\nc,string,class\n", dripping_text::k_all);
  zel::inpout::stream lines(&names, ',', /*owns=*/false);
  table t("t", /*class_checked=*/false);
  t.load_meta_data(&lines, "?");
  load_rows(t, "3,x\n4,x\n");
  const auto back = table_of(bytes_of(t));
  EXPECT_EQ(bytes_of(*back), bytes_of(t));
  EXPECT_EQ(back->n_rows(), 2u);
  EXPECT_EQ(back->n_attributes(), 2u);
  EXPECT_EQ(back->get_weight(1), 1.0);
  case_list cases{{0, 1}, {1, 1}};
  const std::function<void()> uses[] = {
      [&] { back->get_class(0); },
      [&] { conf_matrix matrix(back.get()); },
      [&] { stratify_cross(cases, 2, *back, false); },
      [&] { stratify(cases, 1, *back, true); },
      [&] { dtree("m").build(back.get(), &cases); },
      [&] { dtree("m").feature_selection(back.get(), nullptr, nullptr); },
  };
  for (const auto& use : uses) EXPECT_EQ(error_of(use), "the table has no class column");

  small_record record;  // a class in its place is one, whatever the flag says
  record.end = count(2) + count(3) + "\0"s + count(3);
  EXPECT_EQ(bytes_of(*table_of(record.bytes())), small_record().bytes());
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
