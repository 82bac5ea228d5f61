// Some rows of a block of text, cut into cells: what the value sets read at a time.
#pragma once

#include <cstddef>
#include <cstdint>
#include <string_view>

namespace orvik::impls {

/// Where a cell lies in its block, without outer blanks.
struct cell {
  std::uint32_t begin, length;
};

/// The cells of one column in consecutive rows.
struct cell_batch {
  /// Bytes that may be read behind every cell, whatever they hold.
  static constexpr std::size_t k_readable = 8;
  /// The most rows of a batch: their text and cells fit in a processor's second cache.
  static constexpr std::size_t k_rows = 128;

  const char* text;    // the block
  const cell* cells;   // of the first row
  std::size_t stride;  // cells from one row to the next
  std::size_t rows;

  const cell& at(std::size_t row) const { return cells[row * stride]; }
  std::string_view operator[](std::size_t row) const {
    return {text + at(row).begin, at(row).length};
  }
};

}  // namespace orvik::impls
