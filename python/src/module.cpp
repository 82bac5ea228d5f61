// orvik._orvik: tables and models of the library for the Python package around it.
//
// Errors of the library are ValueError, lack of memory MemoryError. Python's lock is released while
// tables are made and models grown, pruned or asked.
#include <pybind11/pybind11.h>

#include "forms.h"
#include "models.h"
#include "tables.h"
#include "trees.h"

namespace orvpython {

namespace {

// As pybind11 calls it. NOLINTNEXTLINE(performance-unnecessary-value-param)
void translate(std::exception_ptr failure) {
  try {
    if (failure) std::rethrow_exception(failure);
  } catch (const std::bad_alloc&) {
    PyErr_SetNone(PyExc_MemoryError);
  } catch (const py::builtin_exception& error) {
    error.set_error();
  } catch (const std::runtime_error& error) {
    PyErr_SetString(PyExc_ValueError, error.what());
  }
}

}  // namespace

}  // namespace orvpython

PYBIND11_MODULE(_orvik, m) {
  using namespace orvpython;
  m.doc() = "Tables and models of the library.";
  m.attr("__version__") = orvik::get_version();
  m.attr("whole_model") = orvik::view::k_whole_model;
  m.def("arrow_columns", arrow_columns);
  py::register_exception_translator(translate);

  py::class_<held_table>(m, "Table")
      .def_static("make", &held_table::made)
      .def_static("load", &held_table::loaded)
      .def_static("read", &held_table::read)
      .def("columns", [](const held_table& t) { return described(t.schema()); })
      .def("values", [](const held_table& t, unsigned long i) { return values_of(t.schema(), i); })
      .def("codes", &held_table::codes)
      .def("save", [](const held_table& t, const std::string& file) { t.get().toBinary(file); })
      .def_property_readonly("name", [](const held_table& t) { return t.get().get_name(); })
      .def_property_readonly("n_rows", &held_table::n_rows);

  py::class_<held_model>(m, "Model")
      .def_static("grow", &held_model::grown)
      .def_static("search", &held_model::searched)
      .def_static("read", &held_model::read)
      .def_static("from_bytes", &held_model::from_bytes)
      .def("to_bytes", &held_model::to_bytes)
      .def("save", &held_model::save)
      .def("predict", &held_model::predict)
      .def("choose", &held_model::choose)
      .def("explain", &held_model::explain)
      .def("sets", &held_model::sets)
      .def("apply", &held_model::apply)
      .def("decision_path", &held_model::decision_path)
      .def("calibrated", &held_model::calibrated)
      .def("importance", &held_model::importance, py::arg("training").none(true))
      .def("oob_errors", &held_model::oob_errors)
      .def("recall_draws", &held_model::recall_draws)
      .def("form",
           [](const held_model& held, const std::string& name, unsigned long tree, long depth,
              const std::string& relation) {
             return py::bytes(held.form(name, tree, depth, relation));
           })
      .def("tree",
           [](const held_model& held, unsigned long i) { return tree_arrays(held.get(), i); })
      .def("columns", [](const held_model& held) { return described(held.get().get_schema()); })
      .def("values", [](const held_model& held,
                        unsigned long i) { return values_of(held.get().get_schema(), i); })
      .def("settings", [](const held_model& held) { return held.get().get_settings(); })
      .def("votes", [](const held_model& held, unsigned long i) { return held.get().get_votes(i); })
      .def_property_readonly("name", [](const held_model& held) { return held.get().get_name(); })
      .def_property_readonly("n_trees",
                             [](const held_model& held) { return held.get().get_no_trees(); })
      .def_property_readonly("size", [](const held_model& held) { return held.get().size(); })
      .def_property_readonly("leaves", [](const held_model& held) { return held.get().leaves(); })
      .def_property_readonly("depth", [](const held_model& held) { return held.get().depth(); })
      .def_property_readonly("seconds",
                             [](const held_model& held) { return held.get().get_elapsed(); })
      .def_property_readonly("is_ensemble",
                             [](const held_model& held) { return held.get().is_ensemble(); })
      .def_property_readonly("is_boosted",
                             [](const held_model& held) { return held.get().is_boosted(); })
      .def_property_readonly("has_draws",
                             [](const held_model& held) { return held.get().has_draws(); })
      .def_property_readonly("workers", &held_model::workers)
      .def(py::pickle(
          [](const held_model& held) { return py::make_tuple(held.to_bytes(), held.workers()); },
          [](const py::tuple& state) {
            return held_model::from_bytes(state[0].cast<std::string>(),
                                          state[1].cast<unsigned long>());
          }));
}
