// Tables of coded values and subsets of their rows.
#pragma once

#include <memory>
#include <ostream>
#include <string>
#include <utility>

#include "orvik/cells.h"
#include "orvik/export.h"
#include "orvik/schema.h"

namespace zel::adt {
template <class T, class W>
class w_vector;
}

namespace zel::util {
class run_context;
}

namespace orvik {

namespace impls {
class table;
}
class run_context;

class ORVIK_EXPORT table {
 public:
  class subset;

  /// An empty table: no columns, no rows.
  explicit table(const std::string& name);
  /// Takes an implementation, for the library's own use.
  explicit table(std::unique_ptr<impls::table> impl);
  ~table();
  table(const table&) = delete;
  table& operator=(const table&) = delete;

  /// Loads and draws under this context from now on, as do subsets made from now on.
  void use(run_context& run);

  // Loading. Each throws std::runtime_error with one text and leaves the table as it was: it can
  // be given another file.

  /// Reads the schema: a line a column with its name, the type of its values and its role,
  /// separated by `sep`; runs of blanks are one separator. A file named .gz is unpacked. `unknown`
  /// stands for a missing value. A table takes one schema.
  /// Throws for a file that cannot be read, a bad line, with its number, an unknown type or role,
  /// roles that do not fit the types, other than one class, more than one column of weights, and
  /// for a table that has columns.
  void load_meta_data(const std::string& file, char sep, const std::string& unknown);
  /// Reads the rows, a line each, on n threads or fewer: on the caller's alone where n or the
  /// context's number of workers is below 2. Rows keep the file's order. `log` may be null; it is
  /// also told of columns of one name. A table takes its rows once, after its schema: not one
  /// without columns, with rows, or of a model's training (dtree::get_training_table()), whose
  /// values are fixed. Throws for those, for a file that cannot be read, for a bad row, naming row
  /// and column of the earliest, fewer than two classes, no rows, and weights without a positive
  /// and finite sum.
  void load_data(const std::string& file, char sep, unsigned long n, std::ostream* log);
  /// load_data() with memory for the values and a piece of the rows only: the codes go to `mapped`,
  /// a file as toMapped() makes it, which the table then has open. The file appears when it is
  /// complete. Throws as load_data() and toMapped().
  void load_data_mapped(const std::string& file, char sep, unsigned long n,
                        const std::string& mapped, std::ostream* log);
  /// Takes schema and rows from memory instead: the first n cells of every column, or those that
  /// `rows` lists. `unknown` is the text that will stand for a missing value. Columns are coded
  /// side by side; beside the codes memory is needed for those at work only. Throws as the two
  /// above do; for an infinite number, one that its column's type does not have, a text that no
  /// cell of a file can hold, naming row, from 1, or text and the column; and for a table that has
  /// columns.
  void load_columns(const std::vector<column_cells>& columns, unsigned long n,
                    const std::string& unknown);
  void load_columns(const std::vector<column_cells>& columns, const std::vector<row_t>& rows,
                    const std::string& unknown);

  std::string get_name() const;
  /// What its columns are, and the values of its rows.
  schema_view get_schema() const;
  unsigned long get_no_columns() const;
  /// Columns other than the class and the weights.
  unsigned long get_no_predictive() const;
  unsigned long get_no_rows() const;
  /// The case weight of a row, 1.0 in a table without weights.
  /// Throws std::runtime_error for row >= get_no_rows().
  double get_weight(unsigned long row) const;
  /// The class of a row as text.
  /// Throws std::runtime_error for row >= get_no_rows(), and in a table without a class.
  std::string get_class(unsigned long row) const;
  /// Seconds spent loading.
  double get_elapsed() const;
  /// Scales the case weights so that they sum to the number of rows.
  void rescale_weights();
  /// Makes the unknown cells of every discrete attribute of texts that has any a value of their
  /// own, named as the unknown one, of ordered texts the last; models of this table take unknown
  /// cells of these attributes for that value. Subsets stay as they are. O(rows).
  void own_unknowns();

  // Subsets, weighted by the table; the caller deletes them.
  [[nodiscard]] subset* get_wsubset_all() const;
  /// Rows 0 .. n - 1, those past the last with weight 1.0: nothing else takes such rows.
  [[nodiscard]] subset* get_wsubset_first_n(unsigned long n) const;
  /// min(n, rows) different rows, ascending.
  [[nodiscard]] subset* get_wsubset_random(unsigned long n) const;
  /// The rows that `s` does not hold, ascending. Sorts `s` by row.
  /// Throws std::runtime_error for null and for a row that the table does not have.
  [[nodiscard]] subset* get_wsubset_difference(subset* s) const;

  /// The DataDictionary and the MiningSchema element of a PMML 2.0 document.
  void toXML_data_dictionary(std::ostream& out) const;
  void toXML_mining_schema(std::ostream& out) const;
  /// A line a case of `cases` (null: all rows): its values, separated by "," and not quoted; with
  /// `header` under a line of the column names. Throws std::runtime_error for a row that the table
  /// does not have, before it writes.
  void toCSV(std::ostream& out, const subset* cases, bool header) const;
  /// Saves schema, values and rows in the binary form of tables, compressed. The file appears
  /// under its name only when it is complete; until then an older file of that name stays.
  /// Throws std::runtime_error, naming the file, when it cannot be written.
  void toBinary(const std::string& file) const;
  /// Saves the same in the mapped form: not compressed, and used where it lies when it is opened.
  /// Throws as toBinary(), and for what is no regular file.
  void toMapped(const std::string& file) const;
  /// Whether the file begins as toMapped() begins one.
  static bool is_mapped(const std::string& file);
  /// Loads what toBinary() saved, compressed or not, or opens what toMapped() saved; the caller
  /// deletes it; null for the file of no table. Of a mapped table values are read, and weights;
  /// codes stay in the file, which must not be changed in its place meanwhile, and those of a
  /// column are checked when they are first asked for: what is then asked throws std::runtime_error
  /// where they are damaged. A table saved without a class is loaded without one: what needs a
  /// class throws. Throws std::runtime_error, naming the file, for one that cannot be read, is
  /// truncated or holds anything that loading text could not have made.
  [[nodiscard]] static table* fromBinary(const std::string& file);

  /// For the library's own use.
  impls::table* get_impl() const { return impl_.get(); }

 private:
  std::unique_ptr<impls::table> impl_;
  zel::util::run_context* run_;
};

/// A list of cases: rows of one table, each with a weight. A row may occur more than once.
/// A subset does not know its table: where both meet, a row that the table does not have is a
/// std::runtime_error.
class ORVIK_EXPORT table::subset {
 public:
  using case_list = zel::adt::w_vector<unsigned long, double>;

  subset();
  /// Takes a case_list, for the library's own use; null is the default context.
  explicit subset(void* cases, zel::util::run_context* run = nullptr);
  ~subset();
  subset(const subset&) = delete;
  subset& operator=(const subset&) = delete;

  /// Draws under this context from now on, at first under that of the table or the subset that it
  /// was made from; one made from nothing under the default one.
  void use(run_context& run);

  unsigned long size() const;
  /// Grows with cases of row 0 and weight 0, or shrinks.
  void resize(unsigned long n);
  void reserve(unsigned long n);
  void push_back(unsigned long row, double weight);
  /// Row and weight of case i. Throws std::runtime_error, as set() does, for i >= size().
  std::pair<unsigned long, double> get(unsigned long i) const;
  void set(unsigned long i, unsigned long row, double weight);

  /// Fold i of k holds the positions from fold_begin(k, i) up to fold_end(k, i). Throws
  /// std::runtime_error for k = 0.
  unsigned long fold_begin(unsigned long k, unsigned long i) const;
  unsigned long fold_end(unsigned long k, unsigned long i) const;

  /// The `count` cases from position `start`, clipped at the end; all others if `complement`.
  /// The caller deletes the result.
  [[nodiscard]] subset* select(unsigned long start, unsigned long count, bool complement) const;
  void randomize();
  /// By ascending row.
  void sort();

  // Stratifying throws std::runtime_error for a null table, one without a class, and a row that the
  // table does not have; the cases then stay in their order.

  /// Orders the cases so that the first ones are a sample of share `frac`, stratified by the
  /// class column of `t`. @return the size of the sample.
  /// Throws a pointer to a std::runtime_error, which the catcher deletes, for a share outside
  /// [0, 1].
  unsigned long stratify_frac(double frac, table* t, bool random);
  /// The same for a sample of n cases; throws the same way for more than there are.
  unsigned long stratify(unsigned long n, table* t, bool random);
  /// Orders the cases so that each of k folds is stratified. Throws std::runtime_error for k = 0.
  /// @return size() / k.
  unsigned long stratify_cross(unsigned long k, table* t, bool random);

  /// For the library's own use.
  case_list* get_impl() const { return cases_.get(); }

 private:
  std::unique_ptr<case_list> cases_;
  zel::util::run_context* run_;
};

}  // namespace orvik
