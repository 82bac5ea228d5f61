#include "layout.h"

#include <algorithm>
#include <set>
#include <stdexcept>

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
  if (std::ranges::find(first, "?") != first.end()) return false;
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

}  // namespace

layout layout_of(source& in, char separator, header_mode header, char decimal_point) {
  in.rewind();
  std::string start;
  std::string_view bytes;
  while (start.size() < k_looked_at && !(bytes = in.read()).empty()) start += bytes;
  const bool whole = bytes.empty();

  layout found{separator, false, false, {}};
  std::vector<row> rows;
  std::exception_ptr failure;  // with the first separator that has one
  if (separator != 0) {
    rows = first_rows(in.name(), start, whole, separator);
  } else {
    std::size_t best = 2;  // of one column
    for (const char candidate : {',', ';', '\t', '|'}) {
      if (candidate == decimal_point) continue;
      std::vector<row> of_candidate;
      try {
        of_candidate = first_rows(in.name(), start, whole, candidate);
      } catch (const file_error&) {  // its quotes do not fit
        if (!failure) failure = std::current_exception();
        continue;
      }
      // A header that fits before one that lacks a name.
      const std::size_t width = width_of(of_candidate);
      const std::size_t score = 2 * width + (width > 0 && of_candidate[0].size() == width ? 0 : -1);
      if (width < 2 || score <= best) continue;
      best = score;
      found.separator = candidate;
      rows = std::move(of_candidate);
    }
  }
  if (rows.empty()) {
    if (failure) std::rethrow_exception(failure);
    const bool blank = start.find_first_not_of(" \t\r\n") == start.npos;
    throw std::runtime_error(in.name() + (blank ? k_empty : k_no_separator));
  }
  found.has_header = header == header_mode::present ||
                     (header == header_mode::find_out && looks_like_header(rows));
  const std::size_t width = rows.size() > 1 ? rows[1].size() : rows[0].size();
  found.has_row_names = found.has_header && rows[0].size() + 1 == width;
  found.names = different_names(found.has_header ? rows[0] : row(), width, found.has_row_names);
  return found;
}

}  // namespace orvprep
