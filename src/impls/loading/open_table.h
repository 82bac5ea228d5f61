// Rows of columns whose types are not known yet, and the table that becomes of them.
//
// As the loader of typed columns does, workers take blocks of whole lines, which are numbered, and
// have cells of their own for every column; then every column is finished by itself. What
// the workers found is merged when all is read: texts with their counts and first rows, numbers by
// rank. The codes of the cells are translated once, when the types are known.
#pragma once

#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "impls/loading/open_cells.h"
#include "impls/tables/table.h"
#include "orvik/row_text.h"
#include "zel/util/run_context.h"

namespace orvik::impls {

/// A block and who read it.
struct open_block {
  std::uint32_t number = 0;
  unsigned long rows = 0;
  unsigned long first_row = 0;
  std::size_t reader = 0;
  std::vector<std::size_t> begins;  // by column, in the chunks of the reader's codes
};

/// A column of all workers.
struct open_column {
  using code = open_cells::code;

  bool has_numbers = false;
  std::vector<open_cells> parts;                  // by reader
  text_codes texts;                               // of all
  std::vector<unsigned long> counts, first_rows;  // by text code - 1
  std::vector<std::vector<code>> of_local;        // by reader: text codes by local ones
  // Of numbers.
  std::vector<double> values;             // ascending
  std::vector<std::uint32_t> kept_ranks;  // of the kept cells, reader by reader; 0: unknown
  std::vector<std::size_t> first_kept;    // by reader, in the ranks
  std::vector<std::uint32_t> text_ranks;  // by text code - 1; 0: unknown
  unsigned marks = 0;                     // of the kept cells
};

class open_table {
 public:
  explicit open_table(zel::util::run_context& run) : run_(run) {}

  /// @return false where some row or block is of another form. Columns that turn out to hold texts
  /// among numbers that were kept are added to `as_texts`, and all is read again.
  bool read(row_text& rows, std::vector<bool>& as_texts, bool opens_last);

  unsigned long n_rows() const { return n_rows_; }
  const open_column& column_at(unsigned long i) const { return columns_.at(i); }

  /// Fills the empty columns of `to`. @return the number of rows of unknown class, which are left
  /// out.
  unsigned long fill(table& to, const cell_writer& write) const;

 private:
  class reading;
  struct final_column;
  using row_flags = std::vector<bool>;  // by row; none where all are meant

  bool merge(std::vector<bool>& as_texts, const row_text& rows);
  row_flags known_rows(const table& to, const cell_writer& write) const;
  std::unique_ptr<column> finish(unsigned long i, column& empty, const cell_writer& write,
                                 const row_flags& rows) const;
  row_flags used_by(unsigned long i, const row_flags& rows) const;
  template <class Use>
  void for_each_code(unsigned long i, const final_column& finals, Use use) const;

  zel::util::run_context& run_;
  std::vector<open_column> columns_;
  std::vector<open_block> blocks_;  // in the order of the file
  unsigned long n_rows_ = 0;
};

}  // namespace orvik::impls
