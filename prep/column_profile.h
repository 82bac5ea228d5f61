// What the cells of one column are, from all rows.
//
// Two steps: add() takes the cells in one pass and keeps for every way to read them whether all
// fit; settle() is told which way it is to be, and then the figures hold.
//
// Memory: a slot a distinct text, whatever the number of rows; texts themselves are kept while
// there are few of them.
#pragma once

#include <cstdint>
#include <deque>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "cell_rules.h"

namespace orvprep {

/// What a table may be separated by, in order of preference. The last is in no cell: what is
/// written has no control characters but the tab.
inline constexpr std::string_view k_separators = ",\t;|\x1f";

/// A text, how many cells have it and the line of the first of them.
struct counted_text {
  std::string text;
  unsigned long count;
  unsigned long line;
};

class column_profile {
 public:
  explicit column_profile(const cell_rules& rules) : rules_(&rules), slots_(k_first_slots) {}

  /// To keep all texts, however many: of a column whose values are asked for.
  void keep_texts() { most_texts_ = k_no_text; }
  void add(std::string_view text, unsigned long line) { add(text, line, 1); }
  /// Of so many cells the first of which is in that line.
  void add(std::string_view text, unsigned long line, unsigned long count);
  /// Cells of a text that no other ones have; of all of them in the order of their lines.
  void add_different(std::string_view text, unsigned long line, unsigned long count);
  /// `n` cells of plain numbers that make, with those added, `n_distinct` different ones; `marks`
  /// as read_plain() gives them. Of such a column, unless it is settled as one of plain numbers,
  /// more must be known: it is to be profiled by its texts. Where some are no whole numbers,
  /// different texts of one value count as one.
  void add_numbers(unsigned long n, unsigned long n_distinct, double lowest, double highest,
                   unsigned marks);
  /// To be called after the last cell and before any figure is asked for.
  void finish() { look_up_batch(); }

  /// Formats in which all known cells are numbers, those apart that are unknown among numbers only.
  format_set formats() const { return n_known_ > 0 ? formats_ : 0; }
  /// Whether some of these numbers have another value with the other decimal mark.
  bool differs() const { return differs_; }
  /// Whether a mark stands in some number.
  bool has_marks() const { return common_formats_ != k_all_formats; }
  /// The format of the most cells, and their number.
  std::pair<number_format, unsigned long> best_format(format_set allowed) const;
  /// The first known cell that is no number in the format.
  std::optional<counted_text> first_misfit(number_format format) const;
  /// The first cell that the marks of numbers stand in.
  const std::optional<counted_text>& first_marked() const { return first_marked_; }

  /// How the column is read; until then as texts. May be called again.
  void settle(const column_reading& reading) { reading_ = reading; }
  const column_reading& reading() const { return reading_; }

  unsigned long n_cells() const { return n_cells_; }
  unsigned long n_unknown() const;
  /// Distinct known texts.
  unsigned long n_distinct() const { return n_known_ + (reading_.numbers ? 0 : doubtful_.size()); }
  /// Of the known cells: whether all are numbers, and whole ones.
  bool is_numeric() const { return reading_.numbers; }
  bool is_whole() const { return is_numeric() && !range().has_reals; }
  double lowest() const { return range().lowest; }
  double highest() const { return range().highest; }
  /// The first cell that is unknown.
  std::optional<counted_text> first_unknown() const;
  /// The texts of unknown cells but for the empty one.
  std::vector<counted_text> unknown_texts() const;
  /// Texts that are unknown among numbers, where they are values.
  std::vector<counted_text> doubtful_values() const;
  /// How many values cannot be written as they stand.
  unsigned long n_replaced() const { return n_replaced_; }
  /// The first value that looks as an earlier or an unchanged one when it is written; empty if none
  /// does.
  std::string collision() const;
  /// Whether a known text has the character, one of k_separators.
  bool holds(char separator) const;

  /// All known texts with their counts; none where there are more than k_most_texts.
  std::vector<counted_text> texts() const;
  static constexpr unsigned long k_most_texts = 4096;
  /// Cells whose texts `training` did not have, and the first of them.
  unsigned long n_unseen(const column_profile& training, std::optional<counted_text>& first) const;

 private:
  static constexpr std::size_t k_first_slots = 64;
  static constexpr std::uint32_t k_no_text = 0xffffffff;

  enum class sort : unsigned char { known, doubtful, unknown };

  /// A distinct text. Texts are told apart by 64 bits of a hash with a secret of the process: no
  /// file can make two of them look the same.
  struct entry {
    std::uint64_t hash;
    std::uint64_t count;
    std::uint64_t line;
    std::uint32_t text;
    sort is;
    format_set formats;  // in which it is a number
  };
  /// Where an entry is, with bits of its hash: a text that is new, as most are in a column of many
  /// texts, costs one access to a table of 8 bytes a slot.
  struct slot {
    std::uint32_t tag = 0;
    std::uint32_t entry = 0;  // from 1; 0: free
  };

  /// Cells on their way into the table: equal ones that follow each other. Lookups of a batch
  /// wait for memory side by side.
  struct pending {
    std::uint64_t hash;
    std::uint64_t count;
    std::uint64_t line;
    std::size_t begin, length;  // in batch_text_
  };
  static constexpr std::size_t k_batch = 32;

  std::string_view text_of(const pending& p) const {
    return std::string_view(batch_text_).substr(p.begin, p.length);
  }
  void look_up_batch();
  void look_up(const pending& p);
  std::size_t probe(std::uint64_t hash) const;
  bool has(std::uint64_t hash) const;
  void index(std::size_t n_slots) const;
  void append(std::string_view text, std::uint64_t hash, unsigned long line);
  void classify(entry& e, std::string_view text, unsigned long line);
  void classify_known(entry& e, std::string_view text, unsigned long line);
  void keep(entry& e, std::string_view text);
  void note_text(std::string_view text);
  bool is_known(const entry& e) const {
    return e.is == sort::known || (e.is == sort::doubtful && !reading_.numbers);
  }
  counted_text text_of(const entry& e) const {
    return {e.text == k_no_text ? "" : texts_[e.text], e.count, e.line};
  }

  /// Of numbers with one decimal mark.
  struct values {
    bool any = false, has_reals = false;
    double lowest = 0, highest = 0;
    void add(const number& n);
  };
  const values& range() const { return reading_.format.decimal == ',' ? by_comma_ : by_point_; }

  const cell_rules* rules_;
  column_reading reading_;
  std::vector<entry> entries_;         // in the order of their first lines
  mutable std::vector<slot> slots_;    // of entries that were looked up, or looked for
  mutable std::size_t n_indexed_ = 0;  // entries that have theirs
  std::deque<std::string> texts_;
  std::vector<pending> batch_;
  std::string batch_text_;
  unsigned long n_cells_ = 0, n_known_ = 0, n_replaced_ = 0;
  std::uint32_t most_texts_ = k_most_texts;
  format_set formats_ = k_all_formats;         // of all known texts
  format_set common_formats_ = k_all_formats;  // of all numbers
  bool differs_ = false;
  unsigned separators_ = 0;  // that known texts hold, a bit for each of k_separators
  values by_point_, by_comma_;
  std::vector<std::uint32_t> doubtful_;  // entries, as those of unknown texts
  std::vector<std::uint32_t> unknown_;
  // Where formats ceased to fit.
  std::vector<std::pair<format_set, counted_text>> misfits_;
  std::optional<counted_text> first_marked_;
  // Hash as written and text, in the order of their first lines.
  std::vector<std::pair<std::uint64_t, std::string>> replaced_;
};

}  // namespace orvprep
