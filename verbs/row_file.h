// Rows of a file in any of the forms that the program reads, cell by cell as text.
#pragma once

#include <memory>
#include <string>
#include <vector>

#include "csv_rows.h"

namespace orvverbs {

enum class file_kind : unsigned char {
  delimited,  ///< CSV and its like, also gzip and standard input
  pair,       ///< metadata and data, .names and .data
  table,      ///< a table that orvcmd -db or -dbm saved
};

/// What a file is: by its name, by what lies beside it, and by its first bytes. Throws
/// std::runtime_error for a file that cannot be read and for a model.
file_kind kind_of(const std::string& file);

/// The two files of a pair, of whose name one or what they have in common is given.
struct pair_names {
  std::string names, data;
};
pair_names pair_of(const std::string& file);
/// What parts the fields of a metadata file: what stands before the role in its first line.
char separator_in(const std::string& names);

/// "people" of "data/people.csv.gz".
std::string base_name(const std::string& file);

class row_file {
 public:
  virtual ~row_file() = default;
  row_file(const row_file&) = delete;
  row_file& operator=(const row_file&) = delete;

  const std::string& file() const { return file_; }
  /// Names of the columns; without a header "column1", "column2" and so on.
  const std::vector<std::string>& names() const { return names_; }
  bool has_names() const { return has_names_; }
  /// Gives all rows to the visitor.
  virtual void read(orvprep::row_visitor& visit) = 0;

 protected:
  row_file(const std::string& file) : file_(file) {}

  std::string file_;
  std::vector<std::string> names_;
  bool has_names_ = true;
};

/// Opens a file. `separator` 0 is found out, lines that begin with `comment` are passed over;
/// `known` are names of columns, some of which a header has. Throws std::runtime_error, naming the
/// file.
std::unique_ptr<row_file> open_row_file(const std::string& file, char separator, char comment,
                                        const std::vector<std::string>& known);

}  // namespace orvverbs
