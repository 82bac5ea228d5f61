// Rows of a new file in the codes of a model: its columns are found by their names, its values
// among those that the model knows.
#pragma once

#include <functional>
#include <memory>
#include <optional>
#include <ostream>
#include <string>
#include <unordered_map>
#include <vector>

#include "orvik/dtree.h"
#include "reading.h"
#include "row_file.h"

namespace orvverbs {

/// Some rows, next to each other.
struct row_block {
  unsigned long first = 0;  ///< how many there are before them in the file
  unsigned long n = 0;
  std::vector<orvik::code_t> codes;    ///< row by row, an attribute after the other
  std::vector<orvik::code_t> classes;  ///< k_unknown also where the file has none
  std::vector<bool> new_class;         ///< a known class that the model does not know
  std::vector<double> weights;         ///< 1 without a column of weights
  std::vector<std::string> kept;       ///< cells to keep, row by row
};

class new_rows {
 public:
  /// Opens the file and tells on `told` of columns that are missing and of those that are dropped.
  /// All but `file` must outlive this. `separator` 0 is found out. Throws std::runtime_error,
  /// naming the file, where nothing of the model is in it.
  new_rows(const orvik::dtree& model, const reading& how, const std::string& file, char separator,
           std::ostream& told);
  ~new_rows();

  /// Names of the columns of the file.
  const std::vector<std::string>& names() const { return rows_->names(); }
  /// Columns of the file that are keys of the model.
  std::vector<unsigned long> keys() const;
  bool has_class() const { return class_ != nullptr; }

  /// Gives blocks of rows, with the cells of these columns of the file kept; afterwards tells of
  /// values that the model does not know. Throws std::runtime_error with file and line.
  void read(const std::vector<unsigned long>& kept, const std::function<void(row_block&)>& take);
  /// All rows of known class as a table with the columns of the model, its weights rescaled. Values
  /// that the model does not know are values of the table.
  std::unique_ptr<orvik::table> load();

 private:
  class coded_column;
  class visitor;
  class table_visitor;

  void match();
  void match_by_name();
  void match_by_place();
  void tell_missing() const;
  void tell_values() const;
  void bind(unsigned long of_file, unsigned long of_model);

  const reading& how_;
  std::ostream& told_;
  orvik::schema_view schema_;
  std::vector<unsigned long> attribute_of_;  // by column of the model
  std::unique_ptr<row_file> rows_;
  std::vector<std::unique_ptr<coded_column>> columns_;  // by column of the file; null: not used
  std::vector<bool> found_;                             // by column of the model
  coded_column* class_ = nullptr;
  coded_column* weights_ = nullptr;
};

}  // namespace orvverbs
