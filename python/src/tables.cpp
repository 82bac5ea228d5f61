#include "tables.h"

#include <vector>

#include "cells.h"
#include "watched.h"

namespace orvpython {

namespace {

using orvik::table;
namespace model_enums = orvik::model;

constexpr char k_unknown_text[] = "?";

const std::map<std::string, model_enums::column_role> k_roles = {
    {"discrete", model_enums::DISCRETE},
    {"continuous", model_enums::CONTINUOUS},
    {"class", model_enums::CLASS},
    {"weights", model_enums::WEIGHTS},
    {"ignore", model_enums::IGNORE}};

}  // namespace

py::list described(const orvik::schema_view& schema) {
  py::list all;
  for (unsigned long i = 0; i < schema.n_columns(); ++i) {
    const orvik::column_view c = schema.column(i);
    py::dict one;
    one["name"] = py::bytes(c.name());
    one["role"] = c.role_name();
    one["type"] = c.type();
    one["input"] = c.is_input();
    one["numeric"] = c.is_numeric();
    one["ordered"] = c.is_ordered();
    one["n_values"] = c.n_values();
    all.append(one);
  }
  return all;
}

py::list values_of(const orvik::schema_view& schema, unsigned long i) {
  const orvik::column_view c = schema.column(i);
  py::list all;
  for (orvik::code_t code = 1; code <= c.n_values(); ++code) {
    if (!c.is_numeric()) {
      all.append(py::bytes(c.exact(code)));
    } else if (c.type().find("integer") != std::string::npos) {
      all.append(py::int_(static_cast<long long>(c.number(code))));
    } else {
      all.append(py::float_(c.number(code)));
    }
  }
  return all;
}

std::unique_ptr<held_table> held_table::made(const std::string& name, const py::list& columns,
                                             unsigned long n, const py::object& rows, bool rescale,
                                             bool own_unknown, unsigned long workers) {
  auto made = std::make_unique<held_table>(workers);
  py::list parts;
  std::vector<orvik::column_cells> all;
  for (const py::handle each : columns) {
    const auto c = each.cast<py::tuple>();
    parts.append(py::make_tuple(c[3], c[4], c[5]));
    all.push_back({c[0].cast<std::string>(),
                   c[1].cast<std::string>(),
                   named(k_roles, c[2].cast<std::string>()),
                   {}});
  }
  const held_columns held(parts, n);
  for (std::size_t i = 0; i < all.size(); ++i) all[i].cells = held.cells[i];
  const bool all_rows = rows.is_none();
  std::vector<orvik::row_t> listed;
  if (!all_rows) listed = rows.cast<std::vector<orvik::row_t>>();
  for (const orvik::row_t row : listed) {
    if (row >= n) throw py::value_error("a row that there is not");
  }
  made->begin(name);
  run_watched(made->run_, py::none(), [&] {
    all_rows ? made->table_->load_columns(all, n, k_unknown_text)
             : made->table_->load_columns(all, listed, k_unknown_text);
    if (rescale) made->table_->rescale_weights();
    if (own_unknown) made->table_->own_unknowns();
  });
  return made;
}

std::unique_ptr<held_table> held_table::loaded(const std::string& name, const std::string& names,
                                               const std::string& data,
                                               const std::string& separator,
                                               const std::string& unknown, bool rescale,
                                               bool own_unknown, unsigned long workers) {
  if (separator.size() != 1) throw py::value_error("separator must be one character");
  auto made = std::make_unique<held_table>(workers);
  made->begin(name);
  run_watched(made->run_, py::none(), [&] {
    made->table_->load_meta_data(names, separator[0], unknown);
    made->table_->load_data(data, separator[0], made->run_.get_n_workers(), nullptr);
    if (rescale) made->table_->rescale_weights();
    if (own_unknown) made->table_->own_unknowns();
  });
  return made;
}

std::unique_ptr<held_table> held_table::read(const std::string& file, unsigned long workers) {
  auto made = std::make_unique<held_table>(workers);
  run_watched(made->run_, py::none(), [&] { made->table_.reset(table::fromBinary(file)); });
  if (!made->table_) throw py::value_error("File: " + file + " holds no table");
  return made;
}

void held_table::begin(const std::string& name) {
  table_ = std::make_unique<table>(name);
  table_->use(run_);
}

py::array_t<std::uint32_t> held_table::codes(unsigned long column) const {
  const orvik::column_view c = schema().column(column);
  py::array_t<std::uint32_t> all(static_cast<py::ssize_t>(n_rows()));
  std::uint32_t* const to = all.mutable_data();
  const py::gil_scoped_release release;
  for (orvik::row_t row = 0; row < n_rows(); ++row) {
    to[row] = static_cast<std::uint32_t>(c.code_in(row));
  }
  return all;
}

}  // namespace orvpython
