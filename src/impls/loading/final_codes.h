// From the local codes of a worker to the codes of a column.
#pragma once

#include <cassert>
#include <cstdint>
#include <memory>
#include <span>
#include <vector>

#include "impls/loading/cell_codes.h"
#include "impls/tables/append_codes.h"
#include "impls/tables/column.h"
#include "impls/types.h"

namespace orvik::impls {

/// How one worker's cells of a column become final codes.
struct final_codes {
  std::unique_ptr<std::vector<code_t>> of_local;  // null: local codes are final
  std::span<const std::uint32_t> of_kept;
};

template <class Code>
void append_locals(std::size_t n, const Code* locals, const final_codes& finals, column& to) {
  if (finals.of_local == nullptr) {
    append_codes(
        n, [locals](std::size_t i) { return code_t{locals[i]}; }, to);
  } else {
    const code_t* const of_local = finals.of_local->data();
    append_codes(
        n, [=](std::size_t i) { return of_local[locals[i]]; }, to);
  }
}

/// Appends the codes of chunk `c` of `all`.
inline void append_chunk(const cell_codes& all, const cell_codes::chunk& c,
                         const final_codes& finals, column& to) {
  if (c.width == 1) return append_locals(c.cells, all.codes<std::uint8_t>(c), finals, to);
  if (c.width == 2) return append_locals(c.cells, all.codes<std::uint16_t>(c), finals, to);
  if (c.width == 4) return append_locals(c.cells, all.codes<std::uint32_t>(c), finals, to);
  assert(c.width == 0 && c.begin + c.cells <= finals.of_kept.size());
  const std::uint32_t* const kept = finals.of_kept.data() + c.begin;
  append_codes(
      c.cells, [kept](std::size_t i) { return code_t{kept[i]}; }, to);
}

}  // namespace orvik::impls
