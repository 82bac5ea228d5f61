#include "impls/loading/open_cells.h"

#include <array>

#include "zel/text/text_word.h"

namespace orvik::impls {

namespace {

/// A dictionary of this many texts fits in a processor's second cache.
constexpr unsigned long k_few_texts = 4096;
/// Cells after which a larger one is weighed, and the part of them that it may miss.
constexpr unsigned long k_weighed_cells = 4096;
constexpr unsigned long k_misses = 8;

/// Codes are counted in several arrays in turn: equal ones that follow each other would wait.
template <class Code>
void count_codes(const Code* codes, std::size_t n, std::vector<unsigned long>& counts) {
  constexpr std::size_t k_lanes = 4, k_narrow = 256;
  if (counts.size() > k_narrow) {
    for (std::size_t i = 0; i < n; ++i) ++counts[codes[i]];
    return;
  }
  std::array<std::array<std::uint32_t, k_narrow>, k_lanes> lanes{};
  for (std::size_t i = 0; i < n; ++i) ++lanes[i % k_lanes][codes[i]];
  for (std::size_t c = 0; c < counts.size(); ++c) {
    for (const auto& lane : lanes) counts[c] += lane[c];
  }
}

}  // namespace

bool open_cells::insert(const cell_batch& cells, row_place first, bool as_texts,
                        const row_text& rows) {
  if (keeps_numbers_) return keep_numbers(cells, first, rows);
  insert_texts(cells, first);
  if (!as_texts && !has_texts_) weigh(rows);
  return true;
}

open_cells::code open_cells::code_of(std::string_view text, row_place place) {
  const code c = texts.insert(text);
  if (c > firsts.size()) {
    firsts.push_back(place);
    ++misses_;
  }
  return c;
}

void open_cells::insert_texts(const cell_batch& cells, row_place first) {
  std::array<code, cell_batch::k_rows> found;
  for (std::size_t row = 0; row < cells.rows; ++row) {
    const cell& c = cells.at(row);
    found[row] = 0;
    if (c.length <= zel::text::k_word_text) {
      found[row] = texts.find_word(zel::text::word_at(cells.text + c.begin, c.length), c.length);
    }
    if (found[row] == 0) {
      const auto at = static_cast<std::uint32_t>(first.row + row);
      found[row] = code_of(cells[row], {first.block, at});
    }
  }
  codes.append({found.data(), cells.rows});
  cells_ += cells.rows;
}

void open_cells::weigh(const row_text& rows) {
  if (cells_ < k_weighed_cells || texts.size() < k_few_texts) return;
  if (misses_ * k_misses > cells_) {
    keeps_numbers_ = has_numbers_only(rows);
    has_texts_ = !keeps_numbers_;
  }
  cells_ = misses_ = 0;
}

bool open_cells::has_numbers_only(const row_text& rows) {
  using kind = row_text::cell_kind;
  bool any = false;
  unsigned no_marks = 0;
  char room[8];
  for (code c = 1; c <= texts.size(); ++c) {
    double value = 0;
    const kind is = rows.read(texts.text(c, room), value, no_marks);
    if (is == kind::text) return false;
    if (is == kind::unknown) continue;
    some_number_ = value;
    any = true;
  }
  return any;
}

bool open_cells::keep_numbers(const cell_batch& cells, row_place first, const row_text& rows) {
  using kind = row_text::cell_kind;
  const std::size_t n = kept.size();
  double* const to = kept.extend(cells.rows);
  for (std::size_t row = 0; row < cells.rows; ++row) {
    const kind is = rows.read(cells[row], to[row], marks);
    if (is == kind::number) continue;
    if (is == kind::text) return false;
    to[row] = some_number_;
    const auto at = static_cast<std::uint32_t>(first.row + row);
    unknown.push_back(
        {static_cast<std::uint32_t>(n + row), code_of(cells[row], {first.block, at})});
  }
  codes.append_kept(cells.rows);
  return true;
}

std::vector<unsigned long> open_cells::counts() const {
  std::vector<unsigned long> all(texts.size() + 1);
  for (std::size_t i = 0; i < codes.n_chunks(); ++i) {
    const cell_codes::chunk& c = codes.at(i);
    if (c.width == 1) count_codes(codes.codes<std::uint8_t>(c), c.cells, all);
    if (c.width == 2) count_codes(codes.codes<std::uint16_t>(c), c.cells, all);
    if (c.width == 4) count_codes(codes.codes<std::uint32_t>(c), c.cells, all);
  }
  for (const unknown_cell& u : unknown) ++all[u.text];
  return all;
}

}  // namespace orvik::impls
