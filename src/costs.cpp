// Files of costs and weights: small tables with a header, read whole.
#include "orvik/costs.h"

#include <algorithm>
#include <fstream>
#include <optional>
#include <set>
#include <sstream>
#include <stdexcept>

#include "zel/text/decimal.h"
#include "zel/text/message.h"
#include "zel/text/nearest_name.h"

namespace orvik {

namespace {

constexpr std::size_t k_largest_file = 1UL << 24;  // bytes; a million pairs
constexpr std::size_t k_longest_guess = 200;       // of a name that others are compared with

std::string content_of(const std::string& file) {
  std::ifstream in(file, std::ios::binary);
  std::string text(k_largest_file + 1, '\0');
  if (in) in.read(text.data(), static_cast<std::streamsize>(text.size()));
  if (!in.is_open() || in.bad()) throw std::runtime_error(file + ": cannot be read");
  text.resize(static_cast<std::size_t>(in.gcount()));
  if (text.size() > k_largest_file) throw std::runtime_error(file + ": is larger than 16 MiB");
  if (text.starts_with("\xef\xbb\xbf")) text.erase(0, 3);
  return text;
}

/// The cells of a line, blanks around them left out; those in double quotes as they are. Null for
/// quotes that do not end.
std::optional<std::vector<std::string>> cells_of(const std::string& line) {
  std::vector<std::string> cells;
  for (std::size_t at = 0;;) {
    std::string cell;
    at = std::min(line.find_first_not_of(" \t", at), line.size());
    if (at < line.size() && line[at] == '"') {
      for (++at;; ++at) {
        const std::size_t end = line.find('"', at);
        if (end == line.npos) return std::nullopt;
        cell.append(line, at, end - at);
        at = end + 1;
        if (at >= line.size() || line[at] != '"') break;
        cell += '"';
      }
      at = std::min(line.find(',', at), line.size());
    } else {
      const std::size_t end = std::min(line.find(',', at), line.size());
      cell = line.substr(at, end - at);
      cell.erase(cell.find_last_not_of(" \t") + 1);
      at = end;
    }
    cells.push_back(std::move(cell));
    if (at == line.size()) return cells;
    ++at;
  }
}

/// A file of a few named columns, row by row.
class named_rows {
 public:
  /// The columns may stand in any order.
  named_rows(const std::string& file, const std::vector<std::string>& columns)
      : file_(file), in_(content_of(file)) {
    if (!next_line()) throw std::runtime_error(file_ + ": is empty");
    for (const std::string& name : columns) {
      const auto found = std::ranges::find(cells_, name);
      if (found == cells_.end() || cells_.size() != columns.size()) fail(header_of(columns));
      places_.push_back(static_cast<std::size_t>(found - cells_.begin()));
    }
  }

  /// @return whether there is another row.
  bool next() {
    if (!next_line()) return false;
    if (cells_.size() != places_.size()) {
      fail(std::to_string(cells_.size()) + " cells where " + std::to_string(places_.size()) +
           " are expected");
    }
    ++rows_;
    return true;
  }
  /// That of the i-th of the columns asked for.
  const std::string& cell(std::size_t i) const { return cells_[places_[i]]; }
  [[noreturn]] void fail(const std::string& what) const {
    throw std::runtime_error(file_ + " (line " + std::to_string(line_) + "): " + what);
  }
  void require_rows() const {
    if (rows_ == 0) throw std::runtime_error(file_ + ": has no rows below its header");
  }

 private:
  static std::string header_of(const std::vector<std::string>& columns) {
    std::string all;
    for (const std::string& name : columns) all += (all.empty() ? "" : ",") + name;
    return "the first line must name the columns " + all;
  }

  bool next_line() {
    for (std::string line; std::getline(in_, line);) {
      ++line_;
      if (line.ends_with('\r')) line.pop_back();
      if (line.find_first_not_of(" \t") == line.npos) continue;
      auto cells = cells_of(line);
      if (!cells) fail("a quote that does not end");
      cells_ = std::move(*cells);
      return true;
    }
    return false;
  }

  std::string file_;
  std::istringstream in_;
  std::vector<std::string> cells_;
  std::vector<std::size_t> places_;  // of the columns asked for
  unsigned long line_ = 0, rows_ = 0;
};

code_t class_in(const named_rows& rows, std::size_t i, const std::vector<std::string>& classes) {
  const std::string& name = rows.cell(i);
  const auto found = std::find(classes.begin() + 1, classes.end(), name);
  if (found != classes.end()) return static_cast<code_t>(found - classes.begin());
  const std::string near =
      name.size() > k_longest_guess
          ? ""
          : zel::text::nearest_name(name, {classes.begin() + 1, classes.end()});
  rows.fail("no class '" + zel::text::quoted(name) + "'" +
            (near.empty() ? "" : "; did you mean '" + near + "'?"));
}

/// A number that both costs and weights may be.
double number_in(const named_rows& rows, std::size_t i, const char* what) {
  const std::string& text = rows.cell(i);
  if (text.empty()) rows.fail(std::string("the ") + what + " is missing");
  const std::optional<double> number = zel::text::parse_decimal<double>(text);
  if (number && *number >= 0 && *number <= k_dearest) return *number;
  rows.fail(std::string("the ") + what + " must be a number from 0 to 1e+100, not '" +
            zel::text::quoted(text) + "'");
}

}  // namespace

std::vector<class_cost> read_costs(const std::string& file,
                                   const std::vector<std::string>& classes) {
  named_rows rows(file, {"predicted", "actual", "cost"});
  std::vector<class_cost> costs;
  std::set<std::pair<code_t, code_t>> known;
  while (rows.next()) {
    const class_cost one{class_in(rows, 0, classes), class_in(rows, 1, classes),
                         number_in(rows, 2, "cost")};
    if (one.predicted == one.actual && one.cost != 0) rows.fail("what is right must cost 0");
    if (!known.emplace(one.predicted, one.actual).second) rows.fail("the pair stands twice");
    costs.push_back(one);
  }
  rows.require_rows();
  return costs;
}

std::vector<double> read_class_weights(const std::string& file,
                                       const std::vector<std::string>& classes) {
  named_rows rows(file, {"class", "weight"});
  std::vector<double> weights(classes.size(), 1.0);
  std::set<code_t> known;
  while (rows.next()) {
    const code_t code = class_in(rows, 0, classes);
    const double weight = number_in(rows, 1, "weight");
    if (!(weight > 0)) rows.fail("the weight of a class must be above 0");
    if (!known.insert(code).second) rows.fail("the class stands twice");
    weights[code] = weight;
  }
  rows.require_rows();
  return weights;
}

}  // namespace orvik
