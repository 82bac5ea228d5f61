// Rows of text whose columns have no types yet: all cells are loaded at once, and become a table
// when it is known what the columns are.
#pragma once

#include <functional>
#include <memory>
#include <string>
#include <string_view>
#include <vector>

#include "orvik/export.h"
#include "orvik/row_text.h"
#include "orvik/table.h"

namespace orvik {

namespace impls {
class open_table;
}

/// Distinct texts with their counts, and of columns of numbers that hardly repeat the numbers.
/// Threads: many readers.
class ORVIK_EXPORT raw_table {
 public:
  /// Loads with all threads of the default context. Columns of `as_texts` keep every text, the
  /// others keep numbers in their place where most texts are new and all are numbers or unknown.
  /// @return null where some row has not as_texts.size() cells, or its block cannot be prepared.
  /// `opens_last`: a separator at the end of a row has an empty cell behind it.
  /// Throws what `rows` throws.
  static std::unique_ptr<raw_table> load(row_text& rows, std::vector<bool> as_texts,
                                         bool opens_last);
  ~raw_table();
  raw_table(const raw_table&) = delete;
  raw_table& operator=(const raw_table&) = delete;

  unsigned long n_rows() const;

  /// Takes a text, the number of its cells, and the first row that has it, from 0.
  using text_taker =
      std::function<void(std::string_view text, unsigned long n, unsigned long first_row)>;
  /// The different texts of a column, but for the numbers kept in their place, by their first rows.
  void texts(unsigned long column, const text_taker& take) const;

  /// Of a column that keeps numbers.
  struct numbers {
    unsigned long n_kept = 0;      ///< cells whose texts were not kept
    unsigned long n_distinct = 0;  ///< different numbers, those of the texts with them
    double lowest = 0, highest = 0;
    unsigned marks = 0;  ///< of those kept
  };
  bool has_numbers(unsigned long column) const;
  numbers numbers_of(unsigned long column) const;

  /// What a column becomes, as a line of metadata says it: no text has control characters.
  struct column_type {
    std::string name, type, role;
  };
  /// The table of the rows whose class is known; `n_dropped` receives the number of the others. A
  /// column that keeps numbers must become one of the type "integer", which they must be then, or
  /// "double", or one that is ignored. Throws as table::load_data() does.
  std::unique_ptr<table> typed(const std::string& name, const std::vector<column_type>& columns,
                               const std::string& unknown, const cell_writer& write,
                               unsigned long& n_dropped) const;

 private:
  explicit raw_table(std::unique_ptr<impls::open_table> impl);

  std::unique_ptr<impls::open_table> impl_;
};

}  // namespace orvik
