#include "layout.h"

#include <algorithm>
#include <map>
#include <set>
#include <stdexcept>

#include "cell_rules.h"
#include "csv_rows.h"
#include "number.h"
#include "zel/text/decimal.h"

namespace orvprep {

namespace {

constexpr char k_empty[] = ": no rows";
constexpr char k_no_separator[] =
    ": rows of one column, or of different lengths with every separator; name it by --separator";

constexpr std::size_t k_looked_at = 1UL << 18;
// Of long lines more of the file, until there are some.
constexpr std::size_t k_looked_at_most = 1UL << 26;
constexpr long k_some_lines = 10;
constexpr std::size_t k_first_rows = 100;
constexpr char k_comment = '#';

using row = std::vector<std::string>;

class row_collector : public row_visitor {
 public:
  void cell(unsigned long, std::string_view text, unsigned long) override {
    current_.emplace_back(text);
  }
  bool end_of_row(unsigned long, unsigned long line) override {
    if (rows.empty()) first_line = line;
    rows.push_back(std::move(current_));
    current_.clear();
    return rows.size() < k_first_rows;
  }
  std::vector<row> rows;
  unsigned long first_line = 0;

 private:
  row current_;
};

/// The first bytes of a file.
struct beginning {
  const std::string& name;
  std::string text;
  bool whole;  // they are all of it
};

/// A separator and the first rows that it gives; none where it gives no columns.
struct separated {
  char separator = 0;
  std::vector<row> rows;
  unsigned long first_line = 0;
};

separated separated_by(char separator, const beginning& start) {
  row_collector collector;
  csv_rows reader(start.name, separator);
  std::string text(start.text);
  if (start.whole && !text.ends_with('\n')) text += '\n';
  reader.read_complete_rows(text, collector);
  return {separator, std::move(collector.rows), collector.first_line};
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

/// The cells of the most rows, and how many these are; the first of equals.
std::pair<std::size_t, std::size_t> usual_width(const std::vector<row>& rows) {
  std::map<std::size_t, std::size_t> counts;
  for (const row& r : rows) ++counts[r.size()];
  std::pair<std::size_t, std::size_t> best;
  for (const auto& [width, n] : counts) {
    if (n > best.second) best = {width, n};
  }
  return best;
}

bool is_number(const std::string& text) { return reading_of(text).formats != 0; }

bool is_unknown(const std::string& text) {
  static const cell_rules rules;
  return rules.is_unknown(text, {/*numbers=*/true, {}});
}

/// Whether some name stands above known cells that are all numbers.
bool has_name_of_numbers(const std::vector<row>& rows) {
  for (std::size_t c = 0; c < rows[0].size(); ++c) {
    if (is_unknown(rows[0][c])) continue;
    std::size_t numbers = 0, others = 0;
    for (std::size_t r = 1; r < rows.size(); ++r) {
      if (c >= rows[r].size() || is_unknown(rows[r][c])) continue;
      ++(is_number(rows[r][c]) ? numbers : others);
    }
    if (numbers > 0 && others == 0) return true;
  }
  return false;
}

/// Whether the last cell is empty in all rows.
bool ends_with_separators(const std::vector<row>& rows, std::size_t width) {
  return rows.size() > 1 && width > 2 && std::ranges::all_of(rows, [width](const row& r) {
           return r.size() < width || r.back().empty();
         });
}

bool looks_like_header(const std::vector<row>& rows) {
  const row& first = rows[0];
  if (rows.size() > 1 && first.size() < rows[1].size()) return true;
  if (std::ranges::any_of(first, is_number)) return false;
  const std::set<std::string> different(first.begin(), first.end());
  // The first name may be missing, where rows have names of their own, and one behind the rows'
  // ends.
  const auto n_empty = std::ranges::count(first, std::string());
  const bool lacks_names =
      n_empty > (first[0].empty() ? 1 : 0) + (ends_with_separators(rows, first.size()) ? 1 : 0);
  if (different.size() < first.size() || lacks_names || different.contains(k_unknown)) {
    return has_name_of_numbers(rows);
  }
  bool again = false;
  for (std::size_t r = 1; r < rows.size(); ++r) {
    for (std::size_t c = 0; c < std::min(first.size(), rows[r].size()); ++c) {
      if (is_number(rows[r][c])) return true;
      again = again || (!first[c].empty() && rows[r][c] == first[c]);
    }
  }
  return !again;
}

/// The given names keep themselves; a double one gets the first of ".2", ".3" that is not taken.
row different_names(const row& given, std::size_t width, bool row_names) {
  row names = given;
  if (row_names) names.insert(names.begin(), "row");
  names.resize(width);
  for (std::size_t i = 0; i < width; ++i) {
    if (names[i].empty()) names[i] = "column" + std::to_string(i + 1);
  }
  std::set<std::string> taken(names.begin(), names.end()), seen;
  std::map<std::string, unsigned long> last;  // number given, by name
  for (std::string& name : names) {
    if (seen.insert(name).second) continue;
    unsigned long& n = last.try_emplace(name, 1).first->second;
    std::string next;
    do next = name + "." + std::to_string(++n);
    while (!taken.insert(next).second);
    name = next;
  }
  return names;
}

/// Whether cells have commas, and all of them are numbers by that.
bool has_decimal_commas(const std::vector<row>& rows) {
  bool any = false;
  for (std::size_t r = 0; r < rows.size(); ++r) {
    for (const std::string& cell : rows[r]) {
      if (cell.find(',') == cell.npos) continue;
      if ((reading_of(cell).formats & formats_with(',')) == 0) return false;
      any = true;
    }
  }
  return any;
}

/// What each separator makes of the first rows, as far as their quotes fit.
class separations {
 public:
  separations(const beginning& start, char decimal_point) {
    for (const char separator : {',', ';', '\t', '|', ' '}) {
      if (separator == decimal_point) continue;
      try {
        all_.push_back(separated_by(separator, start));
      } catch (const file_error&) {
        if (!failure_) failure_ = std::current_exception();
      }
    }
  }

  /// Throws what reading with the first separator threw where none gives columns and one threw.
  separated best() {
    for (separated* found : {of_most_columns(), by_blanks(), of_most_rows()}) {
      if (found != nullptr) return std::move(*found);
    }
    if (failure_) std::rethrow_exception(failure_);
    return {};
  }

 private:
  separated* of_most_columns() {
    separated* best = nullptr;
    std::size_t best_score = 2;  // of one column
    bool best_has_decimals = false;
    for (separated& s : all_) {
      if (s.separator == ' ') continue;
      // A header that fits before one that lacks a name.
      const std::size_t width = width_of(s.rows);
      const std::size_t score = 2 * width + (width > 0 && s.rows[0].size() == width ? 0 : -1);
      if (width < 2) continue;
      const bool decimals = s.separator != ',' && has_decimal_commas(s.rows);
      const bool before_comma = decimals && best != nullptr && best->separator == ',';
      if (!before_comma && (score <= best_score || (best_has_decimals && !decimals))) continue;
      best = &s;
      best_score = score;
      best_has_decimals = decimals;
    }
    return best;
  }

  separated* by_blanks() {
    const auto blanks = std::ranges::find(all_, ' ', &separated::separator);
    return blanks != all_.end() && width_of(blanks->rows) > 1 ? &*blanks : nullptr;
  }

  /// Of rows that differ, of which the first that does is told when all are read.
  separated* of_most_rows() {
    separated* best = nullptr;
    std::size_t most = 0;
    for (separated& s : all_) {
      const auto [width, n] = usual_width(s.rows);
      if (width < 2 || 2 * n <= s.rows.size() || n <= most) continue;
      most = n;
      best = &s;
    }
    return best;
  }

  std::vector<separated> all_;
  std::exception_ptr failure_;
};

/// The separator that is given or found out, and the first rows.
separated separate(const beginning& start, const layout_wishes& wishes) {
  if (wishes.separator != 0) return separated_by(wishes.separator, start);
  if (start.text.empty()) return {};
  return separations(start, wishes.decimal_point).best();
}

/// A header may have as many names as rows have cells, or lack the first.
void check_header(const std::string& file, const separated& found, std::size_t n,
                  std::size_t width) {
  if (n == width || n + 1 == width) return;
  throw file_error(file, found.first_line,
                   "a header of " + std::to_string(n) + " names over rows of " +
                       std::to_string(width) + " cells");
}

layout layout_of_rows(const std::string& file, const separated& found, header_mode header) {
  const row& first = found.rows[0];
  std::vector<row> rows(found.rows.begin() + 1, found.rows.end());
  const std::size_t width = rows.empty() ? first.size() : usual_width(rows).first;
  // Rows of other lengths are refused when all are read.
  std::erase_if(rows, [&](const row& r) { return r.size() != width; });
  rows.insert(rows.begin(), first);
  layout form;
  form.separator = found.separator;
  form.has_header = header == header_mode::present ||
                    (header == header_mode::find_out && looks_like_header(rows));
  if (form.has_header) check_header(file, found, first.size(), width);
  form.has_last_separators = form.has_header && ends_with_separators(rows, width);
  form.has_row_names = form.has_header && first.size() + 1 == width && !form.has_last_separators;
  form.names = different_names(form.has_header ? first : row(),
                               width - (form.has_last_separators ? 1 : 0), form.has_row_names);
  return form;
}

/// Where the text goes on behind `n` lines.
std::string_view behind_lines(std::string_view text, unsigned long n) {
  for (; n > 0 && !text.empty(); --n) {
    text.remove_prefix(std::min(text.find('\n'), text.size() - 1) + 1);
  }
  return text;
}

/// With empty lines for the first `n`.
std::string without_lines(std::string_view text, unsigned long n) {
  return std::string(n, '\n').append(behind_lines(text, n));
}

/// Lines up to the last of those in front that begin as comments do.
unsigned long leading_comments(std::string_view text) {
  unsigned long n = 0;
  for (unsigned long line = 1; !text.empty(); ++line, text = behind_lines(text, 1)) {
    if (text[0] == k_comment) {
      n = line;
    } else if (text[0] != '\n' && text[0] != '\r') {
      break;
    }
  }
  return n;
}

/// How many of the lines in front are none of the table: the last one may be its header.
unsigned long comments_of(const beginning& start, unsigned long n, const separated& body) {
  std::vector<row> rows;
  try {
    rows = separated_by(body.separator, {start.name, without_lines(start.text, n - 1), start.whole})
               .rows;
  } catch (const file_error&) {
    return n;  // no row
  }
  const bool fits = rows.size() > 1 && rows[0].size() == rows[1].size() && width_of(body.rows) > 0;
  return fits && !looks_like_header(body.rows) ? n - 1 : n;
}

class row_counter : public row_visitor {
 public:
  void cell(unsigned long, std::string_view, unsigned long) override {}
  bool end_of_row(unsigned long, unsigned long) override {
    ++n;
    return true;
  }
  unsigned long n = 0;
};

/// The rows of the source; none where it cannot be read to its end.
unsigned long rows_of(source& in, char separator) {
  row_counter rows;
  try {
    csv_rows(in.name(), separator).read(in, rows);
  } catch (const file_error&) {
    return 0;
  }
  return rows.n;
}

/// Whether the first row can be one of counts over those below:
/// "150,4,setosa,versicolor,virginica". `n` receives how many rows there must be.
bool has_counts(const std::vector<row>& rows, unsigned long& n) {
  if (rows.size() < 3 || rows[0].size() < 2) return false;
  const std::vector<row> below(rows.begin() + 1, rows.end());
  const auto n_rows = zel::text::parse_whole(rows[0][0]),
             n_inputs = zel::text::parse_whole(rows[0][1]);
  const std::size_t width = width_of(below);
  if (!n_rows || !n_inputs || *n_inputs + 1 != width) return false;
  if (std::any_of(rows[0].begin() + 2, rows[0].end(), is_number)) return false;
  n = *n_rows + (looks_like_header(below) ? 1 : 0);
  return true;
}

/// The line of counts in front of the rows, which needs a pass over the file; 0 without one.
unsigned long counts_line(source& in, const separated& found, const layout_wishes& wishes) {
  unsigned long n = 0;
  if (wishes.header != header_mode::find_out || !has_counts(found.rows, n)) return 0;
  in.pass_over(found.first_line, wishes.comment);
  return rows_of(in, found.separator) == n ? found.first_line : 0;
}

std::string start_of(source& in, bool& whole) {
  in.rewind();
  std::string start;
  std::string_view text;
  long lines = 0;
  const auto goes_on = [&] {
    return start.size() < k_looked_at || (lines < k_some_lines && start.size() < k_looked_at_most);
  };
  while (goes_on() && !(text = in.read()).empty()) {
    start += text;
    lines += std::ranges::count(text, '\n') + std::ranges::count(text, '\r');
  }
  whole = text.empty();
  return start;
}

}  // namespace

layout layout_of(source& in, const layout_wishes& wishes) {
  bool whole = false;
  in.pass_over(0, wishes.comment);
  const std::string text = start_of(in, whole);
  beginning start{in.name(), text, whole};
  unsigned long n_comments = leading_comments(text);
  separated found;
  if (n_comments > 0) {
    found = separate({in.name(), without_lines(text, n_comments), whole}, wishes);
    n_comments = found.rows.empty() ? 0 : comments_of(start, n_comments, found);
    start.text = without_lines(text, n_comments);
  }
  found = separate(start, wishes);
  if (found.rows.empty()) {
    const bool blank = text.find_first_not_of(" \t\r\n") == text.npos;
    throw std::runtime_error(in.name() + (blank ? k_empty : k_no_separator));
  }
  const unsigned long counts = counts_line(in, found, wishes);
  if (counts > 0) found = separate({in.name(), without_lines(text, counts), whole}, wishes);
  layout form = layout_of_rows(in.name(), found, wishes.header);
  form.n_comments = n_comments;
  form.counts_line = counts;
  in.pass_over(std::max(n_comments, counts), wishes.comment);
  return form;
}

}  // namespace orvprep
