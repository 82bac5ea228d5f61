// Columns of Python's arrays as cells of the library.
#pragma once

#include <pybind11/numpy.h>
#include <pybind11/stl.h>

#include <memory>
#include <string>
#include <vector>

#include "orvik/cells.h"

namespace orvpython {

namespace py = pybind11;

/// Cells with what they are read from: the arrays are kept as long as this.
class held_cells {
 public:
  /// All cells unknown.
  held_cells() = default;
  /// `values` is a one-dimensional array of numbers, `unknown` None or one of bytes of its length,
  /// `texts` None or a list that integer values are places in. Throws pybind11::value_error.
  held_cells(const py::object& values, const py::object& unknown, const py::object& texts);

  const orvik::cell_array& cells() const { return cells_; }
  unsigned long size() const { return size_; }

 private:
  py::object values_, unknown_;
  std::unique_ptr<std::vector<std::string>> texts_;
  orvik::cell_array cells_;
  unsigned long size_ = 0;
};

/// The cells of a list: None, or a tuple of values, unknown ones and texts, each of `n` rows.
struct held_columns {
  held_columns(const py::list& columns, unsigned long n);
  std::vector<held_cells> held;
  std::vector<orvik::cell_array> cells;
};

/// Columns of an object that has __arrow_c_stream__ or __arrow_c_array__: tuples of the name,
/// values, unknown ones, texts and whether these are ordered. Numbers in one piece are not copied.
py::list arrow_columns(const py::object& from);

}  // namespace orvpython
