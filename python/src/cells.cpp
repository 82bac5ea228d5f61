#include "cells.h"

namespace orvpython {

namespace {

using orvik::cell_array;

cell_array::kind kind_of(const py::dtype& type) {
  struct row {
    char kind;
    long size;
    cell_array::kind is;
  };
  constexpr row k_rows[] = {{'b', 1, cell_array::UINT8},  {'i', 1, cell_array::INT8},
                            {'i', 2, cell_array::INT16},  {'i', 4, cell_array::INT32},
                            {'i', 8, cell_array::INT64},  {'u', 1, cell_array::UINT8},
                            {'u', 2, cell_array::UINT16}, {'u', 4, cell_array::UINT32},
                            {'u', 8, cell_array::UINT64}, {'f', 4, cell_array::FLOAT},
                            {'f', 8, cell_array::DOUBLE}, {'f', 16, cell_array::LONG_DOUBLE}};
  for (const row& r : k_rows) {
    if (r.kind == type.kind() && r.size == type.itemsize()) return r.is;
  }
  throw py::value_error("cells of the dtype " +
                        py::str(static_cast<const py::object&>(type)).cast<std::string>());
}

}  // namespace

held_cells::held_cells(const py::object& values, const py::object& unknown,
                       const py::object& texts) {
  const py::array array = values;
  if (array.ndim() != 1) throw py::value_error("cells that are no one-dimensional array");
  values_ = array;
  size_ = static_cast<unsigned long>(array.shape(0));
  cells_.of = kind_of(array.dtype());
  cells_.first = array.data();
  cells_.step = array.strides(0);
  if (!unknown.is_none()) {
    const py::array marks = unknown;
    if (marks.ndim() != 1 || marks.itemsize() != 1 || marks.shape(0) != array.shape(0)) {
      throw py::value_error("marks of unknown cells that are not a byte a cell");
    }
    unknown_ = marks;
    cells_.unknown = static_cast<const unsigned char*>(marks.data());
    cells_.unknown_step = marks.strides(0);
  }
  if (!texts.is_none()) {
    texts_ = std::make_unique<std::vector<std::string>>(texts.cast<std::vector<std::string>>());
    cells_.texts = texts_.get();
  }
}

held_columns::held_columns(const py::list& columns, unsigned long n) {
  for (const py::handle each : columns) {
    if (each.is_none()) {
      held.emplace_back();
    } else {
      const auto parts = each.cast<py::tuple>();
      held.emplace_back(parts[0], parts[1], parts[2]);
      if (held.back().size() != n) throw py::value_error("columns of different lengths");
    }
  }
  for (const held_cells& each : held) cells.push_back(each.cells());
}

}  // namespace orvpython
