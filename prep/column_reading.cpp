#include "column_reading.h"

#include <algorithm>
#include <array>
#include <cstdio>

#include "zel/text/message.h"

namespace orvprep {

namespace {

constexpr double k_nearly_all = 0.95;
constexpr std::size_t k_told_texts = 3;

constexpr format_set k_by_point = formats_with('.');
constexpr format_set k_by_comma = formats_with(',');

/// The decimal mark that the columns with one possible mark show; 0 where they show none or both.
char decimal_shown(const std::vector<column_profile>& profiles, format_set allowed) {
  bool point = false, comma = false;
  for (const column_profile& p : profiles) {
    const format_set formats = p.formats() & allowed;
    if (!p.has_marks() || formats == 0) continue;
    point = point || (formats & k_by_comma) == 0;
    comma = comma || (formats & k_by_point) == 0;
  }
  return point == comma ? '\0' : point ? '.' : ',';
}

/// Those of the formats that leave each number one value; none where that is not to be known.
format_set unambiguous(const column_profile& p, format_set formats, char shown) {
  const bool both = (formats & k_by_point) != 0 && (formats & k_by_comma) != 0;
  if (both && shown != 0) return formats & formats_with(shown);
  if (!both || !p.differs()) return formats;
  return formats & bit_of(0) ? formats & k_by_point : 0;
}

column_reading reading_in(format_set formats) {
  for (std::size_t i = 0; i < k_number_formats.size(); ++i) {
    if (formats & bit_of(i)) return {true, k_number_formats[i]};
  }
  return {};
}

/// The first cell that is no plain number, or that has a mark.
counted_text marked(const column_profile& p) {
  return p.first_misfit(number_format{}).value_or(*p.first_marked());
}

std::string mark_note(const column_profile& p) {
  const auto [decimal, thousands] = p.reading().format;
  std::string note;
  if (thousands != 0) note = std::string("thousands parted by '") + thousands + "'";
  if (decimal == ',') note += std::string(note.empty() ? "" : ", ") + "decimals behind ','";
  return note + ", as in " + where(marked(p));
}

std::string ambiguous_note(const column_profile& p) {
  return where(marked(p)) + " may be one of thousands or have decimals, kept as a text: " +
         "--decimal or --thousands tells";
}

/// Of a column that a few cells keep from being one of numbers.
std::string nearly_note(const column_profile& p, format_set allowed) {
  const auto [format, n] = p.best_format(allowed);
  unsigned long known = p.n_cells() - p.n_unknown();
  for (const counted_text& t : p.doubtful_values()) known -= t.count;
  const std::optional<counted_text> misfit = p.first_misfit(format);
  if (n == 0 || !misfit) return "";
  const double share = static_cast<double>(n) / static_cast<double>(known);
  if (share < k_nearly_all) return "";
  std::array<char, 16> percent;
  std::snprintf(percent.data(), percent.size(), "%.2f", 100 * share);
  return std::string(percent.data()) + " % are numbers, but not " + where(*misfit) +
         ": --also-unknown '" + zel::text::quoted(misfit->text) + "'";
}

std::string list_of(const std::vector<counted_text>& texts) {
  std::string list;
  for (std::size_t i = 0; i < std::min(texts.size(), k_told_texts); ++i) {
    list += (i == 0 ? "'" : ", '") + zel::text::quoted(texts[i].text) + "' (" +
            std::to_string(texts[i].count) + ")";
  }
  return texts.size() > k_told_texts ? list + ", ..." : list;
}

/// Of unknown texts that are no matter of course.
std::string unknown_note(const column_profile& p) {
  std::vector<counted_text> told = p.unknown_texts();
  std::erase_if(told, [](const counted_text& t) {
    return t.text.empty() || t.text == k_unknown || t.text == "NA";
  });
  return told.empty() ? "" : "unknown: " + list_of(told);
}

std::string doubtful_note(const column_profile& p) {
  const std::vector<counted_text> values = p.doubtful_values();
  return values.empty() ? "" : "a value: " + list_of(values) + "; --also-unknown makes it unknown";
}

}  // namespace

std::string where(const counted_text& t) {
  return "'" + zel::text::quoted(t.text) + "' (line " + std::to_string(t.line) + ")";
}

std::string joined(const std::string& note, const std::string& more) {
  return note.empty() || more.empty() ? note + more : note + "; " + more;
}

void settle_readings(std::vector<column_profile>& profiles, const cell_rules& rules) {
  const format_set allowed = rules.formats();
  const char shown = decimal_shown(profiles, allowed);
  for (column_profile& p : profiles) {
    p.settle(reading_in(unambiguous(p, p.formats() & allowed, shown)));
  }
}

std::string reading_note(const column_profile& p, const cell_rules& rules) {
  const format_set allowed = rules.formats();
  std::string note;
  if (p.is_numeric()) {
    if (p.has_marks() && p.reading().format != number_format{}) note = mark_note(p);
  } else if ((p.formats() & allowed) != 0) {
    note = ambiguous_note(p);
  } else {
    note = joined(nearly_note(p, allowed), doubtful_note(p));
  }
  return joined(note, unknown_note(p));
}

}  // namespace orvprep
