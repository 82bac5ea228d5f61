// What becomes of every column: its type and role in the metadata, and why.
//
// A plan is made of one file and serves others of the same columns: it says how their cells are
// read and what they become. It consists of plain values, to be stored with what is made of the
// table.
#pragma once

#include <map>
#include <string>
#include <vector>

#include "bins.h"
#include "column_profile.h"
#include "layout.h"

namespace orvprep {

/// What the user says of columns, by name or by number from 1.
struct column_wishes {
  std::string class_column;
  std::string weights_column;
  bool frequencies = false;  ///< the weights are numbers of cases
  bins_wish classes;         ///< of a class of numbers
  std::vector<std::string> ignored, discrete, continuous;
  std::map<std::string, std::vector<std::string>> ordered;  // column: values in their order
};

struct column_plan {
  std::string name;
  std::string type;  ///< as in the metadata
  std::string role;
  std::string note;      ///< why the column is left out, or what else is to be said; may be empty
  bool numeric = false;  ///< written as a number, with a point for decimals
  column_reading reading;
  bins classes;      ///< that the numbers of the column are written as, where there are any
  bool key = false;  ///< left out, as it tells every row apart

  bool is(const char* wanted) const { return role == wanted; }
};

struct table_plan {
  bool named = true;  ///< columns of another file are found by their names, else by their places
  std::vector<column_plan> columns;
  cell_rules cells;          ///< with a separator that occurs in no cell of the files planned for
  bool frequencies = false;  ///< weights are not to be scaled
};

/// Plans the columns by their settled profiles over all rows of the file `file`:
/// - the class is the named column, else the last one, which then must not look like a number of
///   many values;
/// - constants are left out, and keys: texts and whole numbers that differ in each of many rows, or
///   count the rows;
/// - numbers are continuous, whole ones as integer; but a column of two whole numbers is discrete,
///   as are all texts.
/// `class_numbers` are those of the class with the cases that they stand for, where these are not
/// its cells. Throws std::runtime_error, naming file and column, for wishes that cannot be had or
/// have no effect.
std::vector<column_plan> plan_columns(const std::string& file,
                                      const std::vector<std::string>& names,
                                      const std::vector<column_profile>& profiles,
                                      const column_wishes& wishes, const cell_rules& rules,
                                      const std::vector<counted_number>& class_numbers = {});

/// The columns whose distinct values a plan by these wishes asks for, however many.
std::vector<unsigned long> columns_to_keep(const std::string& file,
                                           const std::vector<std::string>& names,
                                           const column_wishes& wishes);

/// The columns whose values are texts by these wishes, whatever they look like: the class and those
/// named as discrete or ordered. Names that there are not are passed over.
std::vector<unsigned long> columns_of_texts(const std::vector<std::string>& names,
                                            const column_wishes& wishes);

/// Types that hold the values of another file too, whose profiles are settled by the plans. Throws
/// std::runtime_error, naming the file, where a column of numbers has texts there.
void widen(std::vector<column_plan>& plans, const std::string& file,
           const std::vector<const column_profile*>& others);

/// The first of k_separators that occurs in no text that is written, nor in the metadata.
/// `profiles` has for every column those of all files.
char separator_for(const table_plan& plan,
                   const std::vector<std::vector<const column_profile*>>& profiles);

/// The lines of the metadata. Throws std::runtime_error where a type holds the separator.
std::string metadata_of(const table_plan& plan);

/// Whether the column has a place for the cell: it is unknown, or a number where numbers are meant.
bool fits(const table_plan& plan, const column_plan& column, std::string_view cell);

/// Appends what the cell becomes in the table. It must fit.
void append_cell(const table_plan& plan, const column_plan& column, std::string_view cell,
                 std::string& to);

/// Index of a column given by name or number. Throws std::runtime_error, naming the file.
unsigned long column_of(const std::string& file, const std::vector<std::string>& names,
                        const std::string& wanted);

/// That of the class, by name or number; else the last one.
unsigned long class_of(const std::string& file, const std::vector<std::string>& names,
                       const column_wishes& wishes);

/// For every column of another file the column of the plan that it is.
struct column_match {
  static constexpr unsigned long k_none = ~0UL;
  std::vector<unsigned long> plan_of;  ///< k_none for one that the plan does not have
  std::vector<unsigned long> missing;  ///< columns of the plan that the file does not have, but for
                                       ///< those left out
};

/// By name; by place where one of the two has no names. Throws std::runtime_error where the places
/// differ in number.
column_match match_columns(const table_plan& plan, const std::string& file, const layout& form);

}  // namespace orvprep
