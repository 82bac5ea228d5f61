#include "layout.h"

#include <algorithm>
#include <set>
#include <stdexcept>

#include "cell_rules.h"
#include "csv_rows.h"
#include "number.h"

namespace orvprep {

namespace {

constexpr char k_empty[] = ": no rows";
constexpr char k_no_separator[] =
    ": rows of one column, or of different lengths with every separator; name it by --separator";

constexpr std::size_t k_looked_at = 1UL << 18;
constexpr std::size_t k_first_rows = 100;

using row = std::vector<std::string>;

class row_collector : public row_visitor {
 public:
  void cell(unsigned long, std::string_view text, unsigned long) override {
    current_.emplace_back(text);
  }
  bool end_of_row(unsigned long, unsigned long) override {
    rows.push_back(std::move(current_));
    current_.clear();
    return rows.size() < k_first_rows;
  }
  std::vector<row> rows;

 private:
  row current_;
};

std::vector<row> first_rows(const std::string& name, std::string_view start, bool whole,
                            char separator) {
  row_collector collector;
  csv_rows reader(name, separator);
  std::string text(start);
  if (whole && !text.ends_with('\n')) text += '\n';
  reader.read_complete_rows(text, collector);
  return std::move(collector.rows);
}

/// The cells of all rows; 0 where they differ. The first row may lack the name of the row names.
std::size_t width_of(const std::vector<row>& rows) {
  if (rows.empty()) return 0;
  const std::size_t width = rows.back().size();
  for (std::size_t i = 0; i < rows.size(); ++i) {
    const bool short_header = i == 0 && rows.size() > 1 && rows[0].size() + 1 == width;
    if (rows[i].size() != width && !short_header) return 0;
  }
  return width;
}

bool is_number(const std::string& text) { return number_of(text).kind != number_kind::none; }

bool looks_like_header(const std::vector<row>& rows) {
  const row& first = rows[0];
  if (rows.size() > 1 && first.size() < rows[1].size()) return true;
  if (std::ranges::any_of(first, is_number)) return false;
  const std::set<std::string> different(first.begin(), first.end());
  if (different.size() < first.size()) return false;
  // The first name may be missing, where rows have names of their own.
  if (std::ranges::count(first, std::string()) > (first[0].empty() ? 1 : 0)) return false;
  if (std::ranges::find(first, k_unknown) != first.end()) return false;
  bool again = false;
  for (std::size_t r = 1; r < rows.size(); ++r) {
    for (std::size_t c = 0; c < std::min(first.size(), rows[r].size()); ++c) {
      if (is_number(rows[r][c])) return true;
      again = again || rows[r][c] == first[c];
    }
  }
  return !again;
}

row different_names(const row& given, std::size_t width, bool row_names) {
  row names;
  std::set<std::string> taken;
  for (std::size_t i = 0; i < width; ++i) {
    std::string name = row_names          ? (i == 0 ? "row" : given[i - 1])
                       : i < given.size() ? given[i]
                                          : "";
    if (name.empty()) name = "column" + std::to_string(i + 1);
    const std::string start = name;
    for (int n = 2; !taken.insert(name).second; ++n) name = start + "." + std::to_string(n);
    names.push_back(name);
  }
  return names;
}

/// A separator and the first rows that it gives; none where it gives no columns.
struct separated {
  char separator;
  std::vector<row> rows;
};

/// The separator of the most columns. Throws what reading with the first one threw where none gives
/// columns and one threw.
separated best_separator(const std::string& name, std::string_view start, bool whole,
                         char decimal_point) {
  separated best{0, {}};
  std::size_t best_score = 2;  // of one column
  std::exception_ptr failure;
  for (const char separator : {',', ';', '\t', '|'}) {
    if (separator == decimal_point) continue;
    std::vector<row> rows;
    try {
      rows = first_rows(name, start, whole, separator);
    } catch (const file_error&) {  // its quotes do not fit
      if (!failure) failure = std::current_exception();
      continue;
    }
    // A header that fits before one that lacks a name.
    const std::size_t width = width_of(rows);
    const std::size_t score = 2 * width + (width > 0 && rows[0].size() == width ? 0 : -1);
    if (width < 2 || score <= best_score) continue;
    best_score = score;
    best = {separator, std::move(rows)};
  }
  if (best.rows.empty() && failure) std::rethrow_exception(failure);
  return best;
}

layout layout_of_rows(const separated& found, header_mode header) {
  const auto& [separator, rows] = found;
  layout form{separator, false, false, {}};
  form.has_header = header == header_mode::present ||
                    (header == header_mode::find_out && looks_like_header(rows));
  const std::size_t width = rows.size() > 1 ? rows[1].size() : rows[0].size();
  form.has_row_names = form.has_header && rows[0].size() + 1 == width;
  form.names = different_names(form.has_header ? rows[0] : row(), width, form.has_row_names);
  return form;
}

}  // namespace

layout layout_of(source& in, char separator, header_mode header, char decimal_point) {
  in.rewind();
  std::string start;
  std::string_view bytes;
  while (start.size() < k_looked_at && !(bytes = in.read()).empty()) start += bytes;
  const bool whole = bytes.empty();

  const separated found =
      separator == 0 ? best_separator(in.name(), start, whole, decimal_point)
                     : separated{separator, first_rows(in.name(), start, whole, separator)};
  if (found.rows.empty()) {
    const bool blank = start.find_first_not_of(" \t\r\n") == start.npos;
    throw std::runtime_error(in.name() + (blank ? k_empty : k_no_separator));
  }
  return layout_of_rows(found, header);
}

}  // namespace orvprep
