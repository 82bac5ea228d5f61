// A table: columns of codes under a schema of names, value sets and roles.
//
// Columns keep the order of the metadata file, rows the order of the data file. The predictive
// columns, all but the class and the weights, are also numbered on their own: attribute a is the
// a-th of them. Every algorithm counts attributes; column_of() is the only way back.
// Threads: many readers or one writer; loading uses threads of its own.
#pragma once

#include <cassert>
#include <memory>
#include <ostream>
#include <span>
#include <string>
#include <vector>

#include "impls/tables/column.h"
#include "impls/types.h"
#include "zel/adt/bitmap.h"
#include "zel/inpout/stream.h"
#include "zel/util/default_context.h"
#include "zel/util/nocopy.h"

namespace orvik::impls {

class table : private zel::util::nocopy {
 public:
  /// `class_checked`: the table must have one class and may have one column of weights. Without the
  /// check it has neither, whatever the roles of its columns, and what needs a class throws.
  explicit table(std::string name, bool class_checked = true)
      : name_(std::move(name)), class_checked_(class_checked) {}

  /// Reads one column a line: name, type of its values, role.
  /// Throws std::runtime_error naming the row of a bad line, and where there are columns already;
  /// the table is then as before.
  void load_meta_data(zel::inpout::stream* in, const std::string& missing_value);
  /// Reads one row a line, a value a column, on `workers` threads over the connection of `in`,
  /// or fewer if `run` has fewer. Rows keep the order of the file. `log` may be null.
  /// Throws std::runtime_error for the earliest bad row, naming row and column, and where there
  /// are no columns, or rows or fixed values already; the table is then as before.
  void load_data(zel::inpout::stream* in, unsigned long workers, std::ostream* log,
                 zel::util::run_context& run = zel::util::default_context());
  /// Takes columns and rows from memory, as the two above take them from files, and with their
  /// errors; a cell's is named by its row, from 1, and its column. The table is without columns.
  void load_columns(std::span<const column_cells> columns, const cell_rows& rows,
                    const std::string& missing_value, zel::util::run_context& run);
  /// Reads a row to classify: the texts of the attributes in order, and the class as the last
  /// element; fields that the line lacks are empty. The weight is read as the C library reads
  /// decimals, 0 from a text that is none; 1.0 where the table or the line has no weight.
  /// @return false at the end.
  bool load_test_row(zel::inpout::stream* in, std::vector<std::string>& row, double& weight) const;

  /// A deep copy, without rows when `schema_only`. Value sets must be frozen.
  std::unique_ptr<table> clone(bool schema_only) const;

  const std::string& name() const { return name_; }
  unsigned long n_rows() const { return n_rows_; }
  unsigned long n_columns() const { return columns_.size(); }
  unsigned long n_attributes() const { return attribute_columns_.size(); }
  const column& get_column(unsigned long i) const { return *columns_[i]; }
  /// Whether some column lies in a mapped file.
  bool is_mapped() const;
  /// Lets go of the pages of mapped columns.
  void release_pages() const;
  /// The column of attribute `a`: columns in order, without the class and the weights.
  const column& column_of(unsigned long a) const { return *columns_[column_index_of(a)]; }
  unsigned long column_index_of(unsigned long a) const {
    assert(a < attribute_columns_.size());
    return attribute_columns_[a];
  }
  /// n_columns() in a table without a class.
  unsigned long class_index() const { return class_index_; }
  /// n_columns() in a table without case weights.
  unsigned long weights_index() const { return weights_index_; }
  bool has_weights() const { return weights_index_ < columns_.size(); }
  bool has_class() const { return class_index_ < columns_.size(); }
  /// Throws std::runtime_error in a table without a class.
  const column& class_column() const {
    if (!has_class()) throw_no_class();
    return *columns_[class_index_];
  }
  /// Number of class codes, the unknown one (0) included.
  unsigned long n_class_codes() const { return class_column().values()->size_of_known() + 1; }
  /// Seconds that the last load took.
  double elapsed() const { return elapsed_; }

  // Throw std::runtime_error for a row that the table does not have.

  /// The case weight of a row, 1.0 in a table without weights.
  double get_weight(row_t row) const;
  std::string get_class(row_t row) const;
  void check_row(row_t row) const {
    if (row >= n_rows_) throw_no_row(row);
  }
  void check_rows(std::span<const case_list::value_type> cases) const {
    for (const auto& each : cases) check_row(each.first);
  }

  /// Gives every case the weight of its row, 1.0 to one without a row.
  void set_weights(case_list& cases) const;
  /// Multiplies the case weights so that they sum to the number of rows.
  void rescale_weights();
  /// Makes the unknown cells of every discrete attribute of texts that has any a value of their
  /// own, named as the unknown one; of ordered texts it is the last.
  void own_unknowns();

  /// Writes schema, value sets, which must be frozen, and codes. Throws std::runtime_error for a
  /// table without columns.
  void bin_out(zel::inpout::obinstream& out) const;
  /// Reads what bin_out() wrote into an empty table. Throws std::runtime_error for what loading
  /// could not have made; the table is of no use then.
  void bin_in(zel::inpout::ibinstream& in);
  void set_elapsed(double seconds) { elapsed_ = seconds; }

  /// Writes the mapped form of a table, see mapped_form.h, to a regular file, some columns at a
  /// time. Throws std::runtime_error for a table without columns, and where a write fails.
  void write_mapped(const std::string& file, const zel::util::run_context& run) const;
  /// Opens it in place: value sets are read, and weights, while codes are looked at when they are
  /// asked for. `name` is that of the file in later messages. Throws std::runtime_error where the
  /// file is not what write_mapped() wrote.
  static std::unique_ptr<table> open_mapped(const std::string& file, const std::string& name);
  /// load_data() into `mapped`, a file in the mapped form, which the table then has open: memory is
  /// needed for the values and a piece of the rows. The file appears when it is complete. Throws as
  /// load_data(), and where the file, a regular one, cannot be written; the table is then as
  /// before.
  void load_data_mapped(zel::inpout::stream* in, unsigned long workers, const std::string& mapped,
                        std::ostream* log,
                        zel::util::run_context& run = zel::util::default_context());

  // New case lists, weighted by the table; the caller deletes them.
  [[nodiscard]] case_list* get_all() const;
  [[nodiscard]] case_list* get_first_n(unsigned long n) const;
  [[nodiscard]] case_list* get_random(
      unsigned long n, zel::util::seed_source& seeds = zel::util::default_seeds()) const;
  /// Every row that `cases` does not hold. Sorts `cases` by row. Throws std::runtime_error for a
  /// row that the table does not have.
  [[nodiscard]] case_list* get_difference(case_list& cases) const;

  // Renderings; value sets must be frozen.

  /// The DataDictionary element of a PMML 2.0 document: every column, in order.
  void toXML_data_dictionary(std::ostream& out) const;
  /// The MiningSchema element. `selection` (null: all) has a bit for every attribute.
  void toXML_mining_schema(std::ostream& out, const zel::adt::bitmap* selection) const;
  /// A line a case, its printable values separated by "," and neither quoted nor weighted; with
  /// `header` under a line of the names.
  void toCSV(std::ostream& out, const case_list& cases, bool header) const;

 private:
  friend class data_loader;
  friend class mapped_loader;

  [[noreturn]] static void throw_no_class();
  [[noreturn]] void throw_no_row(row_t row) const;
  void adopt_columns(std::vector<std::unique_ptr<column>> columns);
  std::unique_ptr<table> without_values() const;
  double weight_of(row_t row) const;
  void check_takes_rows(const zel::inpout::stream* in) const;
  void take_rows(table& loaded);
  void check_loaded() const;
  void check_classes() const;
  void check_weights() const;
  double sum_of_weights() const;

  std::string name_;
  bool class_checked_;
  bool takes_rows_ = false;  // its value sets are those of its metadata
  std::vector<std::unique_ptr<column>> columns_;
  std::vector<unsigned long> attribute_columns_;  // by attribute
  unsigned long class_index_ = 0;
  unsigned long weights_index_ = 0;
  unsigned long n_rows_ = 0;
  double elapsed_ = 0;
};

// The same with a presence byte in front; a null table is a single 0. The caller deletes what is
// read.
zel::inpout::obinstream& operator<<(zel::inpout::obinstream& out, const table* t);
zel::inpout::ibinstream& operator>>(zel::inpout::ibinstream& in, table*& t);

}  // namespace orvik::impls
