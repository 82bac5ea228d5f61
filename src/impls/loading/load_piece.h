// Rows of text a piece at a time.
#pragma once

#include <ostream>

#include "impls/tables/table.h"
#include "zel/inpout/stream.h"
#include "zel/util/run_context.h"

namespace orvik::impls {

/// What of a text is loaded next.
struct piece {
  unsigned long bytes;      ///< about so many, whole lines
  unsigned long first_row;  ///< rows that were loaded before, for messages
};

/// Loads the next rows of `in` as table::load_data() does into `t`, which has their columns and no
/// rows, but does not check what only a whole table must have. @return the bytes that were read; 0
/// at the end of the text.
unsigned long load_piece(table& t, zel::inpout::stream& in, unsigned long workers,
                         const piece& some, zel::util::run_context& run);

/// For the log.
struct load_rates {
  double seconds;
  unsigned long bytes, rows;
};
void report_reading(const table& t, const load_rates& of, std::ostream& log);
void report_indexing(const load_rates& of, std::ostream& log);

}  // namespace orvik::impls
