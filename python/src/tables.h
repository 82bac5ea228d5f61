// Tables of the library for Python, and what tables and models say of their columns.
#pragma once

#include <pybind11/numpy.h>
#include <pybind11/pybind11.h>

#include <cstdint>
#include <map>
#include <memory>
#include <string>

#include "orvik/orvik.h"

namespace orvpython {

namespace py = pybind11;

/// The value that `all` has by that name. Throws pybind11::value_error.
template <class Value>
const Value& named(const std::map<std::string, Value>& all, const std::string& name) {
  const auto at = all.find(name);
  if (at == all.end()) throw py::value_error("unknown name: " + name);
  return at->second;
}

/// A dictionary for every column: what tables and models say of theirs.
py::list described(const orvik::schema_view& schema);
/// The values of a column by code, from 1: numbers, or texts as bytes.
py::list values_of(const orvik::schema_view& schema, unsigned long column);

/// A table with a run of its own.
class held_table {
 public:
  explicit held_table(unsigned long workers) { run_.set_n_workers(workers); }

  /// `columns`: tuples of name, type, role, values, unknown ones, texts; `rows` None or numbers.
  static std::unique_ptr<held_table> made(const std::string& name, const py::list& columns,
                                          unsigned long n, const py::object& rows, bool rescale,
                                          bool own_unknown, unsigned long workers);
  static std::unique_ptr<held_table> loaded(const std::string& name, const std::string& names,
                                            const std::string& data, const std::string& separator,
                                            const std::string& unknown, bool rescale,
                                            bool own_unknown, unsigned long workers);
  static std::unique_ptr<held_table> read(const std::string& file, unsigned long workers);

  orvik::table& get() const { return *table_; }
  orvik::schema_view schema() const { return table_->get_schema(); }
  unsigned long n_rows() const { return table_->get_no_rows(); }
  /// Those of a column by row.
  py::array_t<std::uint32_t> codes(unsigned long column) const;

 private:
  void begin(const std::string& name);

  orvik::run_context run_;
  std::unique_ptr<orvik::table> table_;
};

}  // namespace orvpython
