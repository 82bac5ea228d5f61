// Tables in the mapped form: made of text in pieces or of tables in memory, and opened in place.
#include <gtest/gtest.h>
#include <unistd.h>

#include <cstring>

#include "impls/support/binary_text.h"
#include "impls/support/ensembles.h"
#include "impls/support/stock_tables.h"
#include "impls/tables/mapped_form.h"
#include "support/error_of.h"
#include "support/scratch_folder.h"
#include "zel/inpout/replacing_file.h"

using namespace orvik::impls;

namespace {

class mapped_tables : public scratch_folder {
 protected:
  /// In pieces of some 64 times `buffer` bytes.
  static std::unique_ptr<table> load(const table_texts& texts, unsigned long workers,
                                     unsigned long buffer) {
    const loop_threads threads(workers);
    dripping_text text(texts.data, workers > 1 ? 5000 : dripping_text::k_all);
    zel::inpout::stream in(&text, ',', /*owns=*/false, {.capacity = buffer});
    auto t = make_schema(texts.names);
    t->load_data_mapped(&in, workers, "t", nullptr);
    return t;
  }

  static std::unique_ptr<table> open() { return table::open_mapped("t", "t"); }
  /// Turns a bit of a byte of the file, and back.
  static void turn(std::size_t at) {
    std::fstream file("t", std::ios::binary | std::ios::in | std::ios::out);
    const int byte = file.seekg(static_cast<long>(at)).get();
    file.seekp(static_cast<long>(at)).put(static_cast<char>(byte ^ (1 << at % 8)));
  }
  /// What a table whose file is damaged does: an error, or the bytes of what it holds.
  static std::string outcome() {
    std::string bytes;
    const std::string error = error_of([&] { bytes = bytes_of(*open()); });
    return error.empty() ? bytes : error;
  }
};

std::string grown_text(const table& t) {
  dtree model("m");
  const std::unique_ptr<case_list> cases(t.get_all());
  model.build(&t, cases.get());
  return text_of(model);
}

// Numbers that are few, many, kept and unknown, texts, declared orders, bits and weights; values
// that only some pieces have.
TEST_F(mapped_tables, hold_what_loading_the_text_makes) {
  for (const unsigned long rows : {20UL, 300UL, 5000UL}) {
    table_texts texts = mixed_texts(rows, rows, /*weighted=*/rows > 20);
    std::string data, line;
    texts.names =
        "id,double,continuous\nrank,ostring:lo;mid;hi,discrete\nlate,string,discrete\nno,null,"
        "ignore\n" +
        texts.names;
    std::istringstream lines(texts.data);
    for (unsigned long i = 0; std::getline(lines, line); ++i) {
      data += std::to_string(i * 7919 % rows) + ".5," + (i % 3 ? "lo" : "hi") + "," +
              (i + 5 > rows ? "?"
               : i % 2      ? "a"
                            : "b") +
              ",?," + line + "\n";
    }
    texts.data = data;
    const auto plain = make_table(texts.names, texts.data);
    plain->write_mapped("t", zel::util::default_context());
    const std::string expected = read("t");
    EXPECT_TRUE(outcome() == bytes_of(*plain));
    for (const unsigned long workers : {1UL, 3UL}) {
      for (const unsigned long buffer : {rows < 1000 ? 4UL : 100UL, 1048576UL}) {
        const auto t = load(texts, workers, buffer);
        EXPECT_TRUE(bytes_of(*t) == bytes_of(*plain));
        EXPECT_TRUE(read("t") == expected) << "one file, whatever the pieces";
      }
    }
    EXPECT_EQ(grown_text(*open()), grown_text(*plain));
    EXPECT_TRUE(bytes_of(*open()->clone(/*schema_only=*/false)) == bytes_of(*plain));
    EXPECT_EQ(std::distance(std::filesystem::directory_iterator("."), {}), 1) << "nothing is left";
  }
}

TEST_F(mapped_tables, that_cannot_be_made_leave_an_older_file) {
  write("t", "older");
  std::string rows;
  for (int i = 0; i < 700; ++i) rows += "a,1,p\nb,2,q\n";
  const std::string names = "s,string,discrete\nw,,weights\nc,string,class\n";
  const std::pair<std::string, std::string> bad[] = {
      {rows + "a,x,p\n" + rows, "x: not a double (row 1401, column w)"},
      {rows + rows + "a,1\n", "bad row format (row 2801): a,1"},
      {"a,1,p\na,1,p\n", "there must be at least two class values"},
      {"", "there must be at least two class values"},
      {"a,0,p\na,0,q\n", "Weights column 'w' requires a positive and finite sum of weights"},
  };
  for (const auto& [data, error] : bad) {
    EXPECT_EQ(error_of([&] { load({names, data}, 2, 16); }), error);
    EXPECT_EQ(read("t"), "older");
  }
  std::filesystem::remove("t");
  std::filesystem::create_symlink("/dev/null", "t");
  EXPECT_EQ(error_of([&] {
              load({names, rows}, 1, 16);
            }),
            "File: t cannot be written: not a regular file");
}

// Every byte turned, many lengths: one text, or what it was.
TEST_F(mapped_tables, that_are_damaged_are_refused_or_as_they_were) {
  golf_table()->write_mapped("t", zel::util::default_context());
  const std::string good = read("t"), whole = outcome();
  ASSERT_GT(whole.size(), 400u);
  unsigned long n_refused = 0;
  for (std::size_t at = 0; at < good.size(); ++at) {
    turn(at);
    const std::string met = outcome();
    turn(at);
    if (met == whole) continue;
    ++n_refused;
    EXPECT_LT(met.size(), 100u) << at << met;
  }
  EXPECT_GT(n_refused, good.size() / 2) << "the rest is between the columns";
  write("t", good + "x");
  EXPECT_EQ(outcome(), "cut, or longer than it was written");
  for (std::size_t size = good.size(); size-- > 0; size -= size % 16) {
    std::filesystem::resize_file("t", size);
    EXPECT_EQ(outcome(), size < 64 ? "not a mapped table" : "cut, or longer than it was written");
  }
}

TEST_F(mapped_tables, that_are_cut_while_they_are_used_end_the_process_with_a_line) {
  golf_table()->write_mapped("t", zel::util::default_context());
  const auto use_a_cut_one = [] {
    zel::inpout::end_on_lost_pages(STDERR_FILENO, "cut\n", 9);
    const auto t = open();
    std::filesystem::resize_file("t", 0);
    bytes_of(*t);
  };
  EXPECT_EXIT(use_a_cut_one(), testing::ExitedWithCode(9), "^cut\n$");
}

// Sums that fit codes which no table has: they are refused when they are asked for, and before.
TEST_F(mapped_tables, that_lie_are_refused) {
  struct row {
    unsigned long column, begin, code;  // begin: of all bytes; 0 is the column's
    const char* error;
  };
  const char* const no_value = "a code without a value in column ";
  const row rows[] = {{0, 0, 4, no_value},
                      {0, 0, 0, no_value},

                      {4, 0, 0, no_value},
                      {4, 0, 3, no_value},
                      {1, 1, 1, "codes that are not"},
                      {1, 1UL << 40, 1, "codes that are not"}};
  golf_table()->write_mapped("t", zel::util::default_context());
  const std::string good = read("t");
  mapped_header h;
  std::memcpy(&h, good.data(), sizeof h);
  std::vector<mapped_place> places(h.columns);
  std::memcpy(places.data(), good.data() + sizeof h, places.size() * sizeof(mapped_place));
  for (const row& r : rows) {
    std::string bad = good;
    std::vector<mapped_place> lies = places;
    mapped_place& place = lies[r.column];
    bad[place.begin + 5] = static_cast<char>(r.code);
    place.sum = zel::util::byte_sum_of(std::string_view(bad).substr(place.begin, 14));
    if (r.begin != 0) place.begin = r.begin;
    std::memcpy(bad.data() + sizeof h, lies.data(), lies.size() * sizeof(mapped_place));
    const std::string summed = bad.substr(0, 56) + bad.substr(64, lies.size() * 16);
    h.own_sum = zel::util::byte_sum_of(summed);
    std::memcpy(bad.data() + 56, &h.own_sum, 8);
    write("t", bad);
    const std::string met = outcome();
    EXPECT_EQ(met.substr(0, std::strlen(r.error)), r.error) << r.column;
    if (r.begin == 0) {
      EXPECT_NE(error_of([] { grown_text(*open()); }), "") << "by growing as by reading";
    }
  }
}

}  // namespace
