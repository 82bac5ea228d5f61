// What becomes of every column: its type and role in the metadata, and why.
#pragma once

#include <map>
#include <string>
#include <vector>

#include "column_profile.h"

namespace orvprep {

/// What the user says of columns, by name or by number from 1.
struct column_wishes {
  std::string class_column;
  std::string weights_column;
  std::vector<std::string> ignored, discrete, continuous;
  std::map<std::string, std::vector<std::string>> ordered;  // column: values in their order
};

struct column_plan {
  std::string name;
  std::string type;  ///< as in the metadata
  std::string role;
  std::string note;  ///< why the column is left out, or what else is to be said; may be empty
  bool numeric = false;
  bool key = false;  ///< left out, as it tells every row apart

  bool is(const char* wanted) const { return role == wanted; }
};

/// Plans the columns by their profiles over all rows of the file `file`:
/// - the class is the named column, else the last one, which then must not look like a number of
///   many values;
/// - constants are left out, and keys: texts and whole numbers that differ in each of many rows, or
///   count the rows;
/// - numbers are continuous, whole ones as integer; but a column of two whole numbers is discrete,
///   as are all texts.
/// Throws std::runtime_error, naming file and column, for wishes that cannot be had.
std::vector<column_plan> plan_columns(const std::string& file,
                                      const std::vector<std::string>& names,
                                      const std::vector<column_profile>& profiles,
                                      const column_wishes& wishes, const cell_rules& rules);

/// Types that hold the values of another file too. Throws std::runtime_error, naming the file,
/// where a column of numbers has texts there.
void widen(std::vector<column_plan>& plans, const std::string& file,
           const std::vector<const column_profile*>& others);

/// Index of a column given by name or number. Throws std::runtime_error, naming the file.
unsigned long column_of(const std::string& file, const std::vector<std::string>& names,
                        const std::string& wanted);

}  // namespace orvprep
