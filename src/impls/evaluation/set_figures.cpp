// What sets of classes are worth, and how they are written.
#include <algorithm>
#include <array>
#include <charconv>
#include <limits>
#include <span>
#include <string_view>

#include "orvik/probabilities.h"
#include "zel/text/decimal.h"

namespace orvik {

namespace {

constexpr std::size_t k_set_column = 10;  // width
constexpr std::array<const char*, 4> k_calibrations = {"none", "plain", "isotonic", "platt"};

/// Classes that the limits do not know are in no set.
double limit_of(const std::vector<double>& limits, code_t c) {
  return c < limits.size() ? limits[c] : std::numeric_limits<double>::infinity();
}

/// Sums, which scaled() makes means of.
void add_set(set_figures& to, double weight, unsigned long size, bool covered) {
  to.weight += weight;
  to.size += weight * static_cast<double>(size);
  if (covered) to.covered += weight;
  if (size == 0) to.empty += weight;
  if (size == 1) to.single += weight;
}

set_figures scaled(set_figures sums) {
  for (double* const sum : {&sums.covered, &sums.size, &sums.empty, &sums.single}) {
    *sum /= sums.weight;
  }
  return sums;
}

std::string cell_of(double x) {
  std::array<char, 64> room;
  const auto [end, error] = std::to_chars(room.data(), room.data() + room.size(), x,
                                          std::chars_format::fixed, /*precision=*/4);
  return {room.data(), end};
}

void write_set_line(std::ostream& out, const std::array<std::string, 5>& cells,
                    std::string_view name) {
  std::string line;
  for (const std::string& cell : cells) {
    line += std::string(k_set_column - std::min(k_set_column, cell.size()), ' ') + cell;
  }
  out << line << "  " << name << '\n';
}

}  // namespace

const char* name_of(calibration how) { return k_calibrations[static_cast<std::size_t>(how)]; }

std::optional<calibration> calibration_of(std::string_view word) {
  const auto at = std::find(k_calibrations.begin() + 1, k_calibrations.end(), word);
  if (at == k_calibrations.end()) return {};
  return static_cast<calibration>(at - k_calibrations.begin());
}

std::vector<set_figures> set_figures_of(const judged_rows& rows,
                                        const std::vector<double>& limits) {
  const std::size_t k = rows.classes.size();
  const std::vector<double>& shares = rows.plain.empty() ? rows.shares : rows.plain;
  std::vector<set_figures> by_class(k);
  set_figures all;
  for (row_t i = 0; i < rows.size() && !shares.empty(); ++i) {
    const code_t actual = rows.actual[i];
    if (actual == k_unknown || !(rows.weights[i] > 0)) continue;
    unsigned long size = 0;
    for (code_t c = 1; c < k; ++c) size += shares[i * k + c] >= limit_of(limits, c) ? 1 : 0;
    const bool covered = shares[i * k + actual] >= limit_of(limits, actual);
    add_set(all, rows.weights[i], size, covered);
    add_set(by_class[actual], rows.weights[i], size, covered);
  }
  std::vector<set_figures> found;
  if (all.weight > 0) found.push_back(scaled(all));
  for (code_t c = 1; c < k; ++c) {
    if (!(by_class[c].weight > 0)) continue;
    by_class[c].name = rows.classes[c];
    found.push_back(scaled(by_class[c]));
  }
  return found;
}

void write_set_figures(const std::vector<set_figures>& all, const set_request& asked,
                       std::ostream& out) {
  out << "SETS that promise the class for " << zel::text::shortest_decimal(asked.percent) << " %"
      << (asked.by_class ? " of the rows of each class\n" : " of the rows\n");
  write_set_line(out, {"covered", "classes", "empty", "single", "support"}, "class");
  for (const set_figures& each : all) {
    write_set_line(out,
                   {cell_of(each.covered), cell_of(each.size), cell_of(each.empty),
                    cell_of(each.single), zel::text::one_decimal(each.weight)},
                   &each == all.data() ? "(all rows)" : each.name);
  }
}

std::string set_text(const std::vector<std::string>& classes, const double* shares,
                     const std::vector<double>& limits) {
  std::string text;
  bool first = true;
  for (code_t c = 1; c < classes.size(); ++c) {
    if (!(shares[c] >= limit_of(limits, c))) continue;
    if (!first) text += '|';
    first = false;
    for (const char each : classes[c]) {
      if (each == '|' || each == '\\') text += '\\';
      text += each;
    }
  }
  return text;
}

}  // namespace orvik
