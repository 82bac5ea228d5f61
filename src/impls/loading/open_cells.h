// What one worker has read of one column whose type is not known yet.
//
// Texts go through a dictionary. Where most of them turn out to be new, and all are numbers or
// unknown, the cells that follow are kept as numbers: no dictionary of many texts is worth its
// memory accesses then.
#pragma once

#include <cstdint>
#include <vector>

#include "impls/loading/cell_codes.h"
#include "impls/values/cell_batch.h"
#include "impls/values/growing_array.h"
#include "impls/values/text_codes.h"
#include "orvik/row_text.h"

namespace orvik::impls {

/// Where a row is: the number of its block, and its place there.
struct row_place {
  std::uint32_t block, row;
  auto operator<=>(const row_place&) const = default;
};

class open_cells {
 public:
  using code = text_codes::code;
  /// A kept cell, in place of whose number stands some other one, as it has none.
  struct unknown_cell {
    std::uint32_t at;
    code text;
  };

  /// Takes the cells of consecutive rows. @return false for a text in a column that keeps numbers:
  /// it is to be read again with texts only.
  bool insert(const cell_batch& cells, row_place first, bool as_texts, const row_text& rows);

  cell_codes codes;
  text_codes texts;
  std::vector<row_place> firsts;  // by text code - 1
  growing_array<double> kept;
  std::vector<unknown_cell> unknown;  // among those kept
  unsigned marks = 0;                 // of those kept

  bool keeps_numbers() const { return keeps_numbers_; }
  /// How many cells have each text, by code.
  std::vector<unsigned long> counts() const;

 private:
  void insert_texts(const cell_batch& cells, row_place first);
  bool keep_numbers(const cell_batch& cells, row_place first, const row_text& rows);
  code code_of(std::string_view text, row_place place);
  void weigh(const row_text& rows);
  bool has_numbers_only(const row_text& rows);

  unsigned long cells_ = 0, misses_ = 0;  // looked up since the dictionary was weighed
  bool keeps_numbers_ = false;
  bool has_texts_ = false;
  double some_number_ = 0;  // of the column
};

}  // namespace orvik::impls
