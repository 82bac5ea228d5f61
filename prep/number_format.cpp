#include "number_format.h"

#include <algorithm>
#include <limits>

namespace orvprep {

namespace {

constexpr std::size_t k_longest_grouped = 64;
constexpr std::array<std::string_view, 2> k_other_blanks = {"\xc2\xa0", "\xe2\x80\xaf"};

bool is_digit(char c) { return c >= '0' && c <= '9'; }

/// With the blank for all that look as one.
std::string with_plain_blanks(std::string_view text) {
  std::string result(text);
  for (const std::string_view blank : k_other_blanks) {
    for (std::size_t at; (at = result.find(blank)) != result.npos;) {
      result.replace(at, blank.size(), " ");
    }
  }
  return result;
}

/// Removes the marks from the digits before the decimals. @return whether they stand right.
bool remove_marks(std::string& whole, char mark) {
  const std::size_t sign = whole.starts_with('-') ? 1 : 0;
  std::size_t first = whole.find(mark);
  if (first == whole.npos) return true;
  if (first == sign || first > sign + 3 || whole[sign] == '0') return false;
  for (std::size_t at = first; at < whole.size(); at += 4) {
    const std::string_view group = std::string_view(whole).substr(at);
    if (group.size() < 4 || group[0] != mark) return false;
    if (!std::ranges::all_of(group.substr(1, 3), is_digit)) return false;
  }
  std::erase(whole, mark);
  return true;
}

void add(number_reading& r, std::string_view text, std::size_t format) {
  const number n = number_of(number_text(text, k_number_formats[format]));
  if (n.kind == number_kind::none) return;
  r.formats |= bit_of(format);
  (k_number_formats[format].decimal == '.' ? r.by_point : r.by_comma) = n;
}

bool begins_as_number(std::string_view text) {
  return !text.empty() &&
         (is_digit(text[0]) || std::string_view("+-.,").find(text[0]) != text.npos);
}

/// Digits that make a number which a double holds exactly, and powers of ten that it does.
constexpr std::size_t k_exact_digits = 15;
constexpr std::array<double, k_exact_digits + 1> k_powers = {
    1, 1e1, 1e2, 1e3, 1e4, 1e5, 1e6, 1e7, 1e8, 1e9, 1e10, 1e11, 1e12, 1e13, 1e14, 1e15};

/// Digits, with a point among them or not.
struct digit_run {
  std::uint64_t digits = 0;
  std::size_t before = 0, behind = 0;  // the point
  bool has_point = false;
};

/// @return false for other texts, and for more digits than are exact.
bool read_digits(std::string_view text, digit_run& run) {
  if (text.size() > k_exact_digits + 1) return false;
  std::size_t i = 0;
  for (; i < text.size() && is_digit(text[i]); ++i) {
    run.digits = 10 * run.digits + static_cast<std::uint64_t>(text[i] - '0');
  }
  run.before = i;
  run.has_point = i < text.size() && text[i] == '.';
  if (run.has_point) {
    for (++i; i < text.size() && is_digit(text[i]); ++i) {
      run.digits = 10 * run.digits + static_cast<std::uint64_t>(text[i] - '0');
    }
    run.behind = i - run.before - 1;
  }
  return i == text.size() && run.before > 0 && run.before + run.behind <= k_exact_digits;
}

/// The same for any number.
bool read_plain_slowly(std::string_view text, double& value, unsigned& marks) {
  if (text.starts_with('+')) return false;
  const number n = number_of(text);
  const bool signed_zero = n.kind == number_kind::integer && n.value == 0 && text[0] == '-';
  if (n.kind == number_kind::none || signed_zero) return false;
  value = n.value == 0 ? 0 : n.value;
  const format_set formats = reading_of(text).formats;
  if (n.kind == number_kind::real) marks |= k_has_reals;
  if (formats != k_all_formats) marks |= formats & bit_of(3) ? k_has_groups : k_has_points;
  return true;
}

}  // namespace

bool read_plain(std::string_view text, double& value, unsigned& marks) {
  const bool negative = text.starts_with('-');
  const std::string_view digits = text.substr(negative ? 1 : 0);
  digit_run run;
  if (!read_digits(digits, run)) return read_plain_slowly(text, value, marks);
  if (run.before > 1 && digits[0] == '0') return false;
  const bool whole = !run.has_point;
  if (whole && negative && run.digits == 0) return false;
  const double size = static_cast<double>(run.digits) / k_powers[run.behind];
  value = negative && run.digits > 0 ? -size : size;
  if (!whole) {
    const bool groups = run.behind == 3 && run.before <= 3 && digits[0] != '0';
    marks |= k_has_reals | (groups ? k_has_groups : k_has_points);
  } else if (value < std::numeric_limits<int>::min() || value > std::numeric_limits<int>::max()) {
    marks |= k_has_reals;
  }
  return true;
}

std::string number_text(std::string_view text, number_format format) {
  if (text.starts_with('+')) {
    text.remove_prefix(1);
    if (text.find_first_of("+-") == 0) return {};
  }
  if (format == number_format{}) return std::string(text);
  std::string result = format.thousands == ' ' ? with_plain_blanks(text) : std::string(text);
  const std::size_t end =
      std::min(result.find_first_of(std::string{format.decimal, 'e', 'E'}), result.size());
  std::string whole = result.substr(0, end), rest = result.substr(end);
  if (format.thousands != 0 && !remove_marks(whole, format.thousands)) return {};
  if (format.decimal == ',') {
    // A point that is no mark of this format makes no number of it.
    if (whole.find('.') != whole.npos || rest.find('.') != rest.npos) return {};
    if (rest.starts_with(',')) rest[0] = '.';
  }
  return whole + rest;
}

number_reading reading_of(std::string_view text) {
  number_reading r;
  if (!begins_as_number(text)) return r;
  const number plain = number_of(text);
  if (plain.kind != number_kind::none) {
    r = {k_all_formats, plain, plain};
    if (text.find('.') == text.npos) return r;
    r.formats = formats_with('.');
    r.by_comma = {};
    add(r, text, 3);  // the point between thousands
    return r;
  }
  if (text.size() > k_longest_grouped) return r;
  for (std::size_t i = 1; i < k_number_formats.size(); ++i) add(r, text, i);
  return r;
}

}  // namespace orvprep
