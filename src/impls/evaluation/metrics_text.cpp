// Figures of predictions for people: a line a class, its name last, as it may be of any width.
#include <algorithm>
#include <array>
#include <charconv>
#include <cmath>
#include <string_view>

#include "orvik/metrics.h"
#include "zel/text/decimal.h"

namespace orvik {

namespace {

constexpr std::size_t k_column = 11;  // width

std::string figure(double x) {
  constexpr int k_decimals = 4;
  if (std::isnan(x)) return "-";
  std::array<char, 64> room;
  const auto [end, error] = std::to_chars(room.data(), room.data() + room.size(), x,
                                          std::chars_format::fixed, k_decimals);
  return {room.data(), end};
}

std::string right_aligned(const std::string& text) {
  return std::string(k_column - std::min(k_column, text.size()), ' ') + text;
}

void write_line(std::ostream& out, const auto& cells, std::string_view name) {
  std::string line;
  for (const std::string& cell : cells) line += right_aligned(cell);
  out << line << "  " << name << '\n';
}

void write_mean(std::ostream& out, const mean_metrics& m, const std::string& name) {
  const std::array cells = {figure(m.precision), figure(m.recall),   figure(m.f1),
                            std::string(),       figure(m.roc_area), figure(m.average_precision)};
  write_line(out, cells, name);
}

void write_classes(std::ostream& out, const metrics& all) {
  write_line(
      out,
      std::array<std::string, 6>{"precision", "recall", "F1", "support", "ROC area", "avg. prec."},
      "class");
  for (const class_metrics& c : all.classes) {
    const std::array cells = {figure(c.precision), figure(c.recall),
                              figure(c.f1),        zel::text::one_decimal(c.support),
                              figure(c.roc_area),  figure(c.average_precision)};
    write_line(out, cells, c.name);
  }
  write_mean(out, all.mean, "(mean of the classes)");
  write_mean(out, all.weighted_mean, "(mean by support)");
}

}  // namespace

void write_metrics_text(const metrics& all, std::ostream& out) {
  out << "FIGURES of " << all.rows << ": " << std::to_string(all.n_rows) << " rows";
  if (all.n_unknown > 0) {
    out << ", without " << std::to_string(all.n_unknown) << " of unknown class";
  }
  out << '\n';
  write_classes(out, all);
  out << "Accuracy: " << figure(all.accuracy) << " (95 %: " << figure(all.accuracy_from) << " to "
      << figure(all.accuracy_to) << "), balanced: " << figure(all.balanced_accuracy)
      << ", kappa: " << figure(all.kappa) << "\nLog-loss: " << figure(all.log_loss)
      << ", Brier score: " << figure(all.brier) << '\n';
  if (std::isnan(all.plain_log_loss)) return;
  out << "Before calibration: log-loss: " << figure(all.plain_log_loss)
      << ", Brier score: " << figure(all.plain_brier) << '\n';
}

}  // namespace orvik
