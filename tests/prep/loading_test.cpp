// Large files, which all cores load, beside the same ones read cell by cell.
#include <gtest/gtest.h>

#include <array>
#include <cstdio>
#include <sstream>

#include "intake.h"
#include "orvik/orvik.h"
#include "support/error_of.h"
#include "support/scratch_folder.h"

namespace orvprep {
namespace {

constexpr int k_rows = 6000, k_late = 5500;

std::string formatted(const char* format, double value) {
  std::array<char, 64> room;
  std::snprintf(room.data(), room.size(), format, value);
  return room.data();
}

/// Different for nearly all rows.
double drawn(int row) { return row * 7919 % 100003 - 50000; }

struct column {
  const char* what;
  std::string (*cell)(int row);
};

const column k_columns[] = {
    {"whole numbers", [](int row) { return formatted("%.0f", drawn(row)); }},
    {"beyond 32 bits", [](int row) { return formatted("%.0f", 1e5 * drawn(row)); }},
    {"rows counted", [](int row) { return std::to_string(row + 1); }},
    {"decimals", [](int row) { return formatted("%.2f", drawn(row) / 100); }},
    {"no one's decimals", [](int row) { return formatted("%.3f", 1 + row * 7919 % 6007 / 10.0); }},
    {"exponents", [](int row) { return formatted("%.5e", drawn(row)); }},
    {"decimal commas", [](int row) { return "\"" + std::to_string(row) + ",25\""; }},
    {"thousands", [](int row) { return "\"" + std::to_string(row + 1) + ",250\""; }},
    {"zeros in front", [](int row) { return formatted("%06.0f", drawn(row) + 50000); }},
    {"another unknown text", [](int row) { return row == k_late ? "None" : std::to_string(row); }},
    {"many unknown", [](int row) { return row % 3 == 1 ? "-" : formatted("%.1f", drawn(row)); }},
    {"a text", [](int row) { return row == k_late ? "abc" : formatted("%.2f", drawn(row)); }},
    {"a plus sign", [](int row) { return (row == k_late ? "+" : "") + std::to_string(row); }},
    {"a zero below 0",
     [](int row) { return row == k_late ? "-0" : formatted("%.0f", drawn(row)); }},
    {"texts", [](int row) { return "\"user, " + std::to_string(row % 5500) + " \""; }},
    {"numbers twice each",
     [](int row) { return row == k_late ? "abc" : formatted("%.7f", drawn(row / 2)); }},
    {"few texts", [](int row) { return "\"the \"\"" + std::to_string(row % 5) + "\"\"\""; }},
};

class large_files : public scratch_folder {
 protected:
  /// The table, all that is known of its values, and what is said of it.
  static std::string loaded(const settings& how) {
    std::ostringstream text;
    planned_input in(how);
    unsigned long n_dropped = 0;
    const auto table = load_rows(in, "t", n_dropped);
    for (const column_plan& c : in.plan.columns) {
      text << c.name << ' ' << c.type << ' ' << c.role << ' ' << c.note << '\n';
    }
    text << n_dropped << '\n';
    table->toCSV(text, nullptr, /*header=*/true);
    table->toMapped("table");
    return text.str() + read("table");
  }

  static constexpr int k_none = -1;
  /// Every seventh class is unknown, from row `unknown` on.
  void expect_as_cell_by_cell(const column& c, int n_rows, int unknown) {
    SCOPED_TRACE(c.what);
    std::string file = "a,b,c,k\n";
    for (int row = 0; row < n_rows; ++row) {
      const char* const kind = row % 7 == unknown ? "NA" : row % 5 == 0 ? "p" : "q";
      file += c.cell(row) + "," + (row % 2 == 0 ? "" : "x") + "," + std::to_string(row % 3) + "," +
              kind + (row % 9 == 0 ? "\r\n" : "\n");
    }
    write("in", file + "\n");
    settings how;
    how.input = "in";
    how.cells.out_separator = k_inner_separator;
    const std::string at_once = loaded(how);
    how.layout.comment = '\x02';  // files that may have comments are read cell by cell
    EXPECT_TRUE(loaded(how) == at_once) << at_once.substr(0, 600);
  }
};

TEST_F(large_files, are_loaded_as_they_are_cell_by_cell) {
  constexpr int k_unknown[] = {0, 3, k_none};  // in the first row; in later ones; nowhere
  std::size_t i = 0;
  for (const column& c : k_columns) {
    expect_as_cell_by_cell(c, k_rows, k_unknown[i++ % std::size(k_unknown)]);
  }
}

// Each worker has blocks of its own, and may find out alone that there are texts.
TEST_F(large_files, of_many_blocks_are_loaded_as_they_are_cell_by_cell) {
  const column k_of_many[] = {
      {"numbers", [](int row) { return formatted("%.1f", drawn(row)); }},
      {"an early text", [](int row) { return row == 9 ? "abc" : formatted("%.0f", drawn(row)); }},
      {"a late text",
       [](int row) { return row == 49000 ? "abc" : formatted("%.0f", drawn(row)); }}};
  for (const column& c : k_of_many) expect_as_cell_by_cell(c, 50000, k_none);
}

}  // namespace
}  // namespace orvprep
