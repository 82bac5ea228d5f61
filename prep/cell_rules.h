// How the text of a cell is taken and written.
#pragma once

#include <algorithm>
#include <bitset>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "number_format.h"
#include "zel/text/message.h"

namespace orvprep {

/// What stands for an unknown value in what is written.
inline constexpr char k_unknown[] = "?";

/// Texts that stand for an unknown value.
class unknown_texts {
 public:
  explicit unknown_texts(std::vector<std::string> texts) : texts_(std::move(texts)) {
    for (const std::string& text : texts_) {
      if (!text.empty()) first_bytes_.set(static_cast<unsigned char>(text[0]));
    }
  }
  /// Cheap for a number, which none of them begins as.
  bool has(std::string_view text) const {
    if (text.empty()) return true;
    return first_bytes_[static_cast<unsigned char>(text[0])] &&
           std::ranges::find(texts_, text) != texts_.end();
  }
  const std::vector<std::string>& texts() const { return texts_; }

 private:
  std::vector<std::string> texts_;
  std::bitset<256> first_bytes_;
};

/// How the cells of a column are read: found out from all of them, or laid down by a plan.
struct column_reading {
  bool numbers = false;  ///< all known cells are numbers, in this format
  number_format format;
};

struct cell_rules {
  /// Unknown in every column; the empty cell and "?" always are, as the table has no other way to
  /// write them. `in_numbers` are unknown where all other cells are numbers: among texts they may
  /// be values.
  unknown_texts unknown{
      {k_unknown, "NA", "N/A", "n/a", "#N/A", "<NA>", "NaN", "nan", "null", "NULL"}};
  unknown_texts in_numbers{{"None", "none", "na", "NAN", "Null", ".", "-", "--", "-nan", "-NaN"}};
  std::vector<std::string> given;  ///< of the unknown texts those that the user names
  char decimal_point = 0;          ///< 0: found out by column
  std::optional<char> thousands;   ///< without one: found out by column; 0: none
  char out_separator = 0;          ///< of what is written; 0: one that occurs in no cell
  std::string replacement = "_";   ///< for a character that the text form cannot hold

  /// These and no others.
  void set_unknown(const std::vector<std::string>& texts) {
    unknown = unknown_texts({k_unknown});
    in_numbers = unknown_texts({});
    add_unknown(texts);
  }
  void add_unknown(const std::vector<std::string>& texts) {
    given.insert(given.end(), texts.begin(), texts.end());
    std::vector<std::string> all = unknown.texts();
    all.insert(all.end(), texts.begin(), texts.end());
    unknown = unknown_texts(std::move(all));
  }
  bool is_unknown(std::string_view text, const column_reading& column) const {
    return unknown.has(text) || (column.numbers && in_numbers.has(text));
  }
  /// Formats that the user leaves.
  format_set formats() const {
    format_set left = decimal_point == 0 ? k_all_formats : formats_with(decimal_point);
    for (std::size_t i = 0; i < k_number_formats.size() && thousands; ++i) {
      const auto [decimal, mark] = k_number_formats[i];
      const bool other = mark != 0 && mark != *thousands;
      if (other || decimal == *thousands) left &= static_cast<format_set>(~bit_of(i));
    }
    return left;
  }
  /// Line ends end a row; other control characters are what neither XML nor a terminal can hold.
  bool breaks_form(char c) const {
    return (c == out_separator && c != 0) || (c != '\t' && zel::text::is_control(c));
  }
  bool breaks_form(std::string_view text) const {
    return std::ranges::any_of(text, [this](char c) { return breaks_form(c); });
  }
  /// `text` with what breaks the form replaced.
  std::string written(std::string_view text) const {
    std::string result;
    for (const char c : text) breaks_form(c) ? result += replacement : result += c;
    return result;
  }
};

}  // namespace orvprep
