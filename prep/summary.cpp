#include "summary.h"

#include <algorithm>
#include <array>
#include <cstdio>
#include <sstream>

#include "zel/text/message.h"

namespace orvprep {

namespace {

constexpr std::size_t k_shown_values = 3;
constexpr std::size_t k_longest_cell = 40;  // bytes

std::string shortened(std::string text) {
  std::ranges::replace_if(text, zel::text::is_control, ' ');
  if (text.size() <= k_longest_cell) return text;
  std::size_t end = k_longest_cell;
  while (end > 0 && (text[end] & 0xc0) == 0x80) --end;  // no half characters of UTF-8
  return text.substr(0, end) + "...";
}

std::string values_of(const column_profile& p, bool numeric) {
  std::ostringstream text;
  if (numeric) {
    text << p.lowest() << " .. " << p.highest();
    return text.str();
  }
  std::vector<counted_text> texts = p.texts();
  std::ranges::stable_sort(texts, std::ranges::greater(), &counted_text::count);
  for (std::size_t i = 0; i < std::min(texts.size(), k_shown_values); ++i) {
    text << (i == 0 ? "" : ", ") << shortened(texts[i].text) << " (" << texts[i].count << ")";
  }
  if (texts.size() > k_shown_values) text << ", ...";
  return text.str();
}

std::string percent(unsigned long part, unsigned long whole) {
  if (part == 0) return "";
  std::array<char, 16> room;
  std::snprintf(room.data(), room.size(), "%.2f %%",
                100 * static_cast<double>(part) / static_cast<double>(whole));
  return room.data();
}

/// Characters of UTF-8, near enough to what they take on a terminal.
std::size_t width_of(const std::string& text) {
  return static_cast<std::size_t>(
      std::ranges::count_if(text, [](char c) { return (c & 0xc0) != 0x80; }));
}

std::string shown(char separator) {
  if (separator == '\t') return "tab";
  if (separator == ' ') return "blanks";
  if (zel::text::is_control(separator)) return "byte 31";
  return std::string("'") + separator + "'";
}

/// As a word of the shell.
std::string quoted_word(char separator) {
  if (separator == '\t') return "$'\\t'";
  if (zel::text::is_control(separator)) return "$'\\x1f'";
  return std::string("'") + separator + "'";
}

bool occurs_unknown(const table_input& in, const std::string& text) {
  return std::ranges::any_of(in.profiles(), [&text](const column_profile& p) {
    const std::vector<counted_text> unknown = p.unknown_texts();
    return std::ranges::find(unknown, text, &counted_text::text) != unknown.end();
  });
}

}  // namespace

void write_remarks(const table_input& in, const cell_rules& rules, std::ostream& out) {
  const encoding encoded = in.bytes().encoded();
  if (encoded == encoding::cp1252 && in.bytes().first_odd_line() > 0) {
    out << "no UTF-8 (first in line " << in.bytes().first_odd_line()
        << "): read as CP1252 (Latin-1); see --encoding\n";
  } else if (encoded == encoding::utf16_little || encoded == encoding::utf16_big) {
    out << "read as UTF-16\n";
  }
  if (in.form().n_comments > 0) {
    out << "lines 1 to " << in.form().n_comments << " are comments, passed over\n";
  }
  if (const unsigned long line = in.form().counts_line) {
    out << "line " << line << " gives the numbers of rows and columns, passed over\n";
  }
  for (const std::string& text : rules.given) {
    if (text.empty() || occurs_unknown(in, text)) continue;
    out << "no cell is '" << zel::text::quoted(text) << "', which is given as unknown\n";
  }
  if (in.form().has_last_separators) out << "rows end with a separator: no column behind it\n";
}

void write_summary(const table_input& in, const table_plan& plan, std::ostream& out) {
  const layout& form = in.form();
  const std::vector<column_profile>& profiles = in.profiles();
  const std::vector<column_plan>& plans = plan.columns;
  using line = std::array<std::string, 7>;
  std::vector<line> lines = {{"column", "type", "role", "distinct", "unknown", "values", "note"}};
  for (std::size_t i = 0; i < plans.size(); ++i) {
    const column_profile& p = profiles[i];
    const bool range = p.is_numeric() && plans[i].type != "string" && !plans[i].classes.any();
    lines.push_back({shortened(plans[i].name), shortened(plans[i].type), plans[i].role,
                     std::to_string(p.n_distinct()), percent(p.n_unknown(), p.n_cells()),
                     values_of(p, range), plans[i].note});
  }
  std::array<std::size_t, 7> widths{};
  for (const line& l : lines) {
    for (std::size_t c = 0; c < l.size(); ++c) widths[c] = std::max(widths[c], width_of(l[c]));
  }
  out << profiles[0].n_cells() << " rows, " << plans.size() << " columns, separator "
      << shown(form.separator) << (form.has_header ? ", with a header" : ", without a header")
      << (form.has_row_names ? " and row names" : "") << '\n';
  for (const line& l : lines) {
    std::string text;
    for (std::size_t c = 0; c < l.size(); ++c) {
      text += l[c] + std::string(widths[c] - width_of(l[c]) + 2, ' ');
    }
    text.erase(text.find_last_not_of(' ') + 1);
    out << text << '\n';
  }
  write_remarks(in, plan.cells, out);
  if (const char c = plan.cells.out_separator; c != ',') {
    out << "written with " << shown(c) << " between the cells: orvcmd -sep " << quoted_word(c)
        << '\n';
  }
}

}  // namespace orvprep
