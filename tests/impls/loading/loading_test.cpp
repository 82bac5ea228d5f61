// Metadata, data and rows to classify, from text.
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <memory>
#include <random>
#include <sstream>
#include <stdexcept>
#include <string>
#include <string_view>
#include <vector>

#include "impls/support/binary_text.h"
#include "impls/support/table_text.h"
#include "impls/tables/table.h"

namespace orvik::impls {
namespace {

using texts = std::vector<std::string>;
using namespace std::string_literals;

auto throws(const std::string& message) {
  return testing::ThrowsMessage<std::runtime_error>(message);
}

std::string cell(const column& c, row_t row) { return c.values()->get_value(c.get_row_index(row)); }

texts cells(const column& c) {
  texts all;
  for (row_t row = 0; row < c.size(); ++row) all.push_back(cell(c, row));
  return all;
}

// ---- Metadata

TEST(meta_data, errors_name_the_line_and_keep_the_table) {
  const std::string row = "Reading metadata: bad row format (row ";
  const std::string c = "c,string,class\n";
  const std::pair<std::string, std::string> rows[] = {
      {c + "\n", row + "2): "},
      {c + "a,string,discrete,,\n", row + "2): a,string,discrete,,"},
      {c + "a,string,dis\0crete"s, row + "2): a,string,dis?crete"},
      {c + std::string(300, '\x1b'), row + "2): " + std::string(200, '?')},
      {"", "missing class attribute"},
  };
  table t("t");
  const auto load = [&t](const std::string& names) {
    dripping_text text(names, dripping_text::k_all);
    zel::inpout::stream in(&text, ',', /*owns=*/false);
    t.load_meta_data(&in, "?");
  };
  for (const auto& [names, message] : rows) {
    EXPECT_THAT([&] { load(names); }, throws(message));
    EXPECT_EQ(t.n_columns(), 0u);
  }
  EXPECT_THAT([&] { t.load_meta_data(nullptr, "?"); },
              throws("Reading metadata: no data provider detected."));
  load(c);
  EXPECT_THAT([&] { load("a,string,class\nb,string,discrete\n"); },
              throws("Reading metadata: the table has its columns already"));
  EXPECT_EQ(t.class_column().name(), "c");
}

// ---- Rows, on 1, 2 and 7 workers, one line a block

class loading : public testing::TestWithParam<unsigned long> {
 protected:
  std::unique_ptr<table> load(std::string_view names, std::string_view data, long most = 3) const {
    auto t = make_schema(names);
    load_rows(*t, data, GetParam(), ',', most);
    return t;
  }
};
INSTANTIATE_TEST_SUITE_P(on, loading, testing::Values(1, 2, 7),
                         [](const auto& row) { return std::to_string(row.param) + "_workers"; });

constexpr char k_schema[] =
    "a,integer,continuous\nd,double,ignore\no,ostring:lo;hi,discrete\nw,,weights\nc,string,class\n";

// Each bad in its own way; the rows after it are bad in the others.
const std::pair<std::string, std::string> k_bad_rows[] = {
    {"x7,1,lo,1,x", "x7: not an int (row 801, column a)"},
    {"9999999999,1,lo,1,x", "str2int:: overflow (row 801, column a)"},
    {"x7,y8,lo,1,x", "x7: not an int (row 801, column a)"},
    {"7,1e999,lo,1,x", "1e999: not a double (row 801, column d)"},
    {"7,1,mid,1,x", "o_set::insert() order string not found (row 801, column o)"},
    {"7,1,hi,-.5,x", "-.5: negative value in a column of weights (row 801, column w)"},
    {"7,1,hi,1,?", "[o_set::insert()] called with unadmitted null value (row 801, column c)"},
    {"", "bad row format (row 801): "},
    {"7,1,hi,1", "bad row format (row 801): 7,1,hi,1"},
    {"7,1,hi,1,x\0"s, "bad row format (row 801): 7,1,hi,1,x?"},
    {"\x1b[2J\x7f" + std::string(300, 'n'),
     "bad row format (row 801): ?[2J?" + std::string(195, 'n')},
    {std::string(3000, ','), "bad row format (row 801): " + std::string(200, ',')},
};

TEST_P(loading, reports_the_earliest_bad_row_and_its_first_bad_cell) {
  std::string good;
  for (int i = 0; i < 400; ++i) good += "1,2.5,lo,1,x\n?,?,hi,0,y\n";
  const std::size_t n = std::size(k_bad_rows);
  for (std::size_t i = 0; i < n; ++i) {
    std::string data = good;
    for (std::size_t j = 0; j < n; ++j) data += k_bad_rows[(i + j) % n].first + "\n";
    // The last of these makes one long block end with the bad row and short ones follow, whose
    // bad rows are found before it.
    const auto first_bad = static_cast<long>(good.size()) + 1;
    for (const long most : {7L, 200L, dripping_text::k_all, first_bad}) {
      EXPECT_THAT([&] { load(k_schema, data, most); }, throws(k_bad_rows[i].second)) << most;
    }
  }
}

// Whatever the failure, and whenever it came: the next file loads as if there had been none.
TEST_P(loading, that_fails_leaves_the_table_as_it_was) {
  const std::string names = std::string(k_schema) + "n,null,ignore\nb,string,discrete\n";
  const std::string good = "5,1.5,hi,2,p,?,u\n6,?,lo,1,q,?,v\n";
  const auto expected = load(names, good);
  const auto t = make_schema(names);
  std::string classes;
  for (int i = 0; i < 70000; ++i) classes += "1,1,lo,1," + std::to_string(i) + ",?,?\n";
  for (const std::string bad : {"?,7,lo,1,p,?,?\n8,8,lo,1,q,?,w\nx", "1,1,lo,1,p,?,u\n",
                                "?,1,lo,0,p,?,?\n1,?,lo,0,q,?,w\n", "", classes.c_str()}) {
    EXPECT_THROW(load_rows(*t, bad, GetParam(), ',', 3000), std::runtime_error);
    EXPECT_EQ(t->n_rows(), 0u);
    for (unsigned long i = 0; i < t->n_columns(); ++i) {
      const column& c = t->get_column(i);
      EXPECT_EQ(c.size(), 0u);
      EXPECT_FALSE(c.values()->has_null());
      EXPECT_EQ(c.values()->size_of_known(), c.values()->is_ordered() ? 2u : 0u);
    }
  }
  load_rows(*t, good, GetParam());
  EXPECT_EQ(bytes_of(*t), bytes_of(*expected));
}

TEST_P(loading, takes_one_set_of_rows_after_the_columns) {
  const auto t = load("a,string,discrete\nc,string,class\n", "x,p\ny,q\n");
  const std::string bytes = bytes_of(*t);
  const auto schema = t->clone(/*schema_only=*/true);
  table fresh("t");
  const auto more = [](table& to) { load_rows(to, "z,p\nz,q\n", GetParam()); };
  EXPECT_THAT([&] { more(fresh); }, throws("rows cannot be loaded before the metadata"));
  EXPECT_THAT([&] { more(*t); }, throws("the table has its rows already"));
  EXPECT_THAT([&] { more(*table_of(bytes)); }, throws("the table has its rows already"));
  EXPECT_THAT([&] { more(*schema); },
              throws("rows cannot be loaded into a table whose values are fixed"));
  EXPECT_THAT([&] { make_schema(k_schema)->load_data(nullptr, GetParam(), nullptr); },
              throws("no data provider detected."));
  EXPECT_EQ(bytes_of(*t), bytes);
}

/// A connection whose read number `bad`, from 0, loses its bytes and fails; the next ones go on.
class stumbling_text : public dripping_text {
 public:
  stumbling_text(std::string_view text, long most, int bad)
      : dripping_text(text, most), reads_to_go_(bad) {
    set_name("f.data");
  }
  long read(void* bytes, long count) override {
    const long got = dripping_text::read(bytes, count);
    if (reads_to_go_-- != 0) return got;
    set_error("broken");
    return -1;
  }

 private:
  int reads_to_go_;
};

// What the other workers read after the failure begins in the middle of a line.
TEST_P(loading, reports_an_input_that_broke_and_not_the_rows_behind_the_break) {
  const loop_threads threads(GetParam());
  std::string data;
  for (int i = 0; i < 200; ++i) data += "1,x\n2,y\n";
  for (const int bad : {0, 1, 2, 3, 40, 41, 42, 43, 44, 45}) {
    stumbling_text in(data, 3, bad);
    zel::inpout::stream lines(&in, ',', /*owns=*/false);
    const auto t = make_schema("a,integer,discrete\nc,string,class\n");
    EXPECT_THAT([&] { t->load_data(&lines, GetParam(), nullptr); },
                throws("File: f.data cannot be read: broken"));
  }
}

/// What a table makes of a cell, and how it may be written.
struct drawn_cell {
  std::string value, written;
};

drawn_cell draw_cell(std::mt19937_64& draw, const std::string& type) {
  const std::string words[] = {"q", "a", "", "rr", "a value of many bytes", "s\xff"};
  if (draw() % 5 == 0) return {"?", "?"};
  if (type == "null") return {"?", "dropped"};
  std::string value, written;
  if (type.ends_with("string")) {
    value = written = words[draw() % 6];
  } else if (type.starts_with("ostring")) {
    value = written = words[draw() % 3];
  } else {
    const bool whole = type.ends_with("integer");
    const int number = static_cast<int>(draw() % 60) - (type == "uinteger" ? 0 : 30);
    value = whole ? std::to_string(number) : std::to_string(number / 64.0);
    written = (number < 0 ? "" : draw() % 2 ? "+0" : "0") + value + (whole ? "" : "0");
  }
  return {value, std::string(draw() % 3, ' ') + written + std::string(draw() % 3, ' ')};
}

void expect_same_columns(const table& a, const table& b) {
  ASSERT_EQ(a.n_rows(), b.n_rows());
  for (unsigned long i = 0; i < a.n_columns(); ++i) {
    const column &x = a.get_column(i), &y = b.get_column(i);
    ASSERT_EQ(x.codes().bits, y.codes().bits);
    ASSERT_EQ(x.values()->size_of_known(), y.values()->size_of_known());
    for (row_t row = 0; row < a.n_rows(); ++row) {
      ASSERT_EQ(x.get_row_index(row), y.get_row_index(row));
    }
  }
}

TEST(loading_random_tables, reads_back_what_was_written_on_any_number_of_workers) {
  const texts types = {"integer", "uinteger", "float",         "double",
                       "string",  "null",     "ostring:q;a; ", "long double"};
  std::mt19937_64 draw(17);
  for (int round = 0; round < 200; ++round) {
    texts drawn(1 + draw() % 4);
    std::string names, data;
    for (std::string& type : drawn) {
      type = types[draw() % types.size()];
      names += "a," + type + ",ignore\n";
    }
    names += "c,string,class\n";
    std::vector<texts> values(drawn.size());
    const auto rows = 2 + draw() % 40;
    for (unsigned long row = 0; row < rows; ++row) {
      for (std::size_t i = 0; i < drawn.size(); ++i) {
        const drawn_cell each = draw_cell(draw, drawn[i]);
        values[i].push_back(each.value);
        data += each.written + ",";
      }
      data += row % 2 ? "yes\r\n" : "no,\n";
    }
    const auto t = make_table(names, data);
    const auto parallel = make_schema(names);
    load_rows(*parallel, data, 7, ',', static_cast<long>(1 + draw() % 100));
    expect_same_columns(*t, *parallel);
    for (std::size_t i = 0; i < drawn.size(); ++i) {
      if (drawn[i] == "null") continue;
      ASSERT_EQ(cells(t->get_column(i)), values[i]) << names << data;
    }
  }
}

// ---- Rows to classify

TEST(test_rows, have_their_weight_read_as_c_reads_decimals) {
  const auto t = make_schema("a,string,discrete\nw,,weights\nc,string,class\nb,null,ignore\n");
  const struct {
    const char* line;
    double weight;
    texts row;
  } rows[] = {
      {"x,2.5,p,y", 2.5, {"x", "y", "p"}},
      {"x, -3,p,", -3, {"x", "", "p"}},
      {"x,1e2z,p,y", 100, {"x", "y", "p"}},
      {"x,,p,y", 0, {"x", "y", "p"}},
      {"x,none,p,y", 0, {"x", "y", "p"}},
      {"x,0.1", 0.1, {"x", "", ""}},
      {"x,", 1, {"x", "", ""}},
      {"x", 1, {"x", "", ""}},
      {"", 1, {"", "", ""}},
      {" x ,+.5,p,y,z", .5, {" x ", "y", "p"}},
      {"x,1e-400,p,y", 0, {"x", "y", "p"}},
  };
  std::string text;
  for (const auto& row : rows) text += std::string(row.line) + "\n";
  dripping_text connection(text, dripping_text::k_all);
  zel::inpout::stream in(&connection, ',', /*owns=*/false);
  texts row;
  double weight = 0;
  for (const auto& expected : rows) {
    ASSERT_TRUE(t->load_test_row(&in, row, weight));
    EXPECT_EQ(row, expected.row) << expected.line;
    EXPECT_EQ(weight, expected.weight) << expected.line;
  }
  EXPECT_FALSE(t->load_test_row(&in, row, weight));
}

}  // namespace
}  // namespace orvik::impls
