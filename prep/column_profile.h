// What the cells of one column are, from all rows.
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
#include "number.h"

namespace orvprep {

/// A text, how many cells have it and the line of the first of them.
struct counted_text {
  std::string text;
  unsigned long count;
  unsigned long line;
};

class column_profile {
 public:
  explicit column_profile(const cell_rules& rules) : rules_(&rules), slots_(k_first_slots) {}

  void add(std::string_view text, unsigned long line);
  /// To be called after the last cell and before any figure is asked for.
  void finish() { look_up_batch(); }

  unsigned long n_cells() const { return n_cells_; }
  unsigned long n_unknown() const;
  /// Distinct known texts.
  unsigned long n_distinct() const { return n_distinct_; }
  /// Of the known cells: whether all are numbers, and whole ones.
  bool is_numeric() const { return n_distinct_ > 0 && !first_text_; }
  bool is_whole() const { return is_numeric() && !has_reals_; }
  double lowest() const { return lowest_; }
  double highest() const { return highest_; }
  /// The first cell that is no number, and the first that is unknown.
  const std::optional<counted_text>& first_text() const { return first_text_; }
  const std::optional<counted_text>& first_unknown() const { return first_unknown_; }
  /// The first value that cannot be written as it stands, and how many there are.
  const std::optional<counted_text>& first_replaced() const { return first_replaced_; }
  unsigned long n_replaced() const { return n_replaced_; }
  /// The first value that looks as an earlier or an unchanged one when it is written; empty if none
  /// does.
  std::string collision() const;

  /// All known texts with their counts; none where there are more than k_most_texts.
  std::vector<counted_text> texts() const;
  static constexpr unsigned long k_most_texts = 4096;
  /// Cells whose texts `training` did not have, and the first of them.
  unsigned long n_unseen(const column_profile& training, std::optional<counted_text>& first) const;

 private:
  static constexpr std::size_t k_first_slots = 64;
  static constexpr std::uint32_t k_no_text = 0xffffffff;

  /// A distinct text. Texts are told apart by 64 bits of a hash with a secret of the process: no
  /// file can make two of them look the same.
  struct entry {
    std::uint64_t hash;
    std::uint64_t count;
    std::uint64_t line;
    std::uint32_t text;
    bool unknown;
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
  bool has(std::uint64_t hash) const { return slots_[probe(hash)].entry != 0; }
  void grow();
  void classify(entry& e, std::string_view text, unsigned long line);

  const cell_rules* rules_;
  std::vector<slot> slots_;
  std::vector<entry> entries_;  // in the order of their first lines
  std::deque<std::string> texts_;
  std::vector<pending> batch_;
  std::string batch_text_;
  unsigned long n_cells_ = 0, n_distinct_ = 0, n_replaced_ = 0;
  bool has_reals_ = false;
  double lowest_ = 0, highest_ = 0;
  std::optional<counted_text> first_text_, first_unknown_, first_replaced_;
  // Hash as written and text, in the order of their first lines.
  std::vector<std::pair<std::uint64_t, std::string>> replaced_;
};

}  // namespace orvprep
