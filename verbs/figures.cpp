#include "figures.h"

#include <algorithm>
#include <array>
#include <cmath>
#include <cstdio>
#include <sstream>

#include "report_rows.h"
#include "zel/text/message.h"
#include "zel/util/string_util.h"

namespace orvverbs {

namespace {

constexpr std::size_t k_longest_name = 24;   // bytes
constexpr std::size_t k_most_classes = 12;   // of a matrix that is shown
constexpr double k_most_shares = 1UL << 24;  // that are kept, 128 MB

std::string short_name(const std::string& name) {
  std::string text = zel::text::one_line(name);
  if (text.size() <= k_longest_name) return text;
  std::size_t end = k_longest_name - 3;
  while (end > 0 && (text[end] & 0xc0) == 0x80) --end;  // no half characters of UTF-8
  return text.substr(0, end) + "...";
}

/// Characters of UTF-8, for the width of columns.
std::size_t width_of(const std::string& text) {
  return static_cast<std::size_t>(
      std::ranges::count_if(text, [](char c) { return (c & 0xc0) != 0x80; }));
}

std::string weight_text(double weight) {
  std::array<char, 32> room;
  std::snprintf(room.data(), room.size(), weight == std::floor(weight) ? "%.0f" : "%.1f", weight);
  return room.data();
}

/// Weights: actual classes down, predicted ones across.
void write_matrix(const judged_test& test, std::ostream& out) {
  const orvik::conf_matrix& matrix = *test.matrix;
  unsigned long first = 1;  // the unknown class where it is met
  for (unsigned long i = 0; i < matrix.size(); ++i) {
    if (matrix.get_element(0, i) > 0 || matrix.get_element(i, 0) > 0) first = 0;
  }
  if (matrix.size() - first > k_most_classes) return;
  std::vector<std::vector<std::string>> rows(1, {"actual \\ predicted"});
  for (unsigned long p = first; p < matrix.size(); ++p)
    rows[0].push_back(short_name(test.classes[p]));
  for (unsigned long a = first; a < matrix.size(); ++a) {
    rows.push_back({short_name(test.classes[a])});
    for (unsigned long p = first; p < matrix.size(); ++p) {
      rows.back().push_back(weight_text(matrix.get_element(a, p)));
    }
  }
  write_columns(rows, out);
}

}  // namespace

std::string utf8(const std::string& text) {
  using namespace zel::util::string_util;
  return is_utf8(text) ? text : utf8_of_latin1(text);
}

std::string percent(double share) {
  if (std::isnan(share)) return "-";
  std::array<char, 32> room;
  std::snprintf(room.data(), room.size(), "%.2f %%", 100 * share);
  return room.data();
}

void write_columns(const std::vector<std::vector<std::string>>& rows, std::ostream& out) {
  std::vector<std::size_t> widths;
  for (const auto& row : rows) {
    widths.resize(std::max(widths.size(), row.size()));
    for (std::size_t i = 0; i < row.size(); ++i) widths[i] = std::max(widths[i], width_of(row[i]));
  }
  for (const auto& row : rows) {
    std::string line;
    for (std::size_t i = 0; i < row.size(); ++i) {
      const std::string blanks(widths[i] - width_of(row[i]), ' ');
      line += "  " + (i > 0 ? blanks + row[i] : row[i] + blanks);
    }
    line.erase(line.find_last_not_of(' ') + 1);
    out << line << '\n';
  }
}

bool keeps_rows(unsigned long n_rows, unsigned long n_classes) {
  return static_cast<double>(n_rows) * static_cast<double>(n_classes) <= k_most_shares;
}

judged_test test_of(orvik::judged_rows rows, const std::string& from) {
  judged_test test{rows.classes, orvik::view::test_on_rows(rows), {}, from, nullptr};
  test.rows = std::move(rows);
  return test;
}

void add(orvik::conf_matrix& to, const orvik::conf_matrix& more) {
  for (unsigned long a = 0; a < more.size(); ++a) {
    for (unsigned long p = 0; p < more.size(); ++p) {
      if (more.get_element(a, p) > 0) to.add_case(a, p, more.get_element(a, p));
    }
  }
}

void write_cost(const judged_test& test, std::ostream& out) {
  if (!test.costs) return;
  const double cost = test.matrix->get_cost(*test.costs);
  std::array<char, 32> of_all, of_one;
  std::snprintf(of_all.data(), of_all.size(), "%.6g", cost);
  std::snprintf(of_one.data(), of_one.size(), "%.4g", cost / test.matrix->cases());
  const char* const rows = test.from == "cross-validation" ? " rows in " : " ";
  out << "cost: " << of_all.data() << " of " << weight_text(test.matrix->cases()) << rows
      << test.from << ", " << of_one.data() << " a row\n";
}

void write_error(const judged_test& test, std::ostream& out) {
  out << "error: " << percent(test.matrix->err_misc()) << " of "
      << weight_text(test.matrix->cases()) << ' ' << test.from
      << " (majority class: " << percent(test.matrix->err_misc_majority()) << ")\n";
}

void write_figures(const judged_test& test, std::ostream& out) {
  write_cost(test, out);
  write_matrix(test, out);
  if (test.rows.size() > 0) write_metrics_text(metrics_of(test.rows, test.from), out);
}

void write_figures(const judged_test& test, const std::string& rows, json_out& json) {
  const orvik::conf_matrix& matrix = *test.matrix;
  json.key("rows");
  json.text(rows);
  json.key("weight");
  json.number(matrix.cases());
  json.key("error");
  json.number(matrix.err_misc());
  json.key("majority_error");
  json.number(matrix.err_misc_majority());
  if (test.costs) {
    const double cost = matrix.get_cost(*test.costs);
    json.key("cost");
    json.number(cost);
    json.key("mean_cost");
    json.number(cost / matrix.cases());
  }
  json.array("classes", test.classes, [&](const std::string& name) { json.text(utf8(name)); });
  json.key("matrix");
  json.StartArray();
  for (unsigned long a = 0; a < matrix.size(); ++a) {
    json.StartArray();
    for (unsigned long p = 0; p < matrix.size(); ++p) json.number(matrix.get_element(a, p));
    json.EndArray();
  }
  json.EndArray();
  if (test.rows.size() == 0) return;
  std::ostringstream figures;
  orvik::write_metrics_json({metrics_of(test.rows, test.from)}, figures);
  const std::string text = figures.str();
  json.key("metrics");
  json.RawValue(text.data(), text.find_last_not_of('\n') + 1, rapidjson::kObjectType);
}

}  // namespace orvverbs
