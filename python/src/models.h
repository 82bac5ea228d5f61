// Models of the library for Python: grown, read, asked, calibrated, written.
#pragma once

#include <pybind11/numpy.h>
#include <pybind11/pybind11.h>

#include <chrono>
#include <cstdint>
#include <memory>
#include <mutex>
#include <string>
#include <vector>

#include "cells.h"
#include "orvik/cell_predictor.h"
#include "orvik/orvik.h"
#include "orvik/probabilities.h"
#include "orvik/reasons.h"
#include "tables.h"
#include "watched.h"

namespace orvpython {

/// A model with a run of its own.
/// Threads: any number may ask it at a time. It stays what it is once it is made.
class held_model {
 public:
  explicit held_model(unsigned long workers) { run_.set_n_workers(workers); }

  /// `how`: the settings by their names; `progress` is None, or told how far it has come.
  static std::unique_ptr<held_model> grown(const held_table& on, const py::dict& how,
                                           const py::object& progress);
  /// Numbers of the attributes that a search found, and what it says of itself.
  static py::tuple searched(const held_table& on, const py::dict& how, const py::object& progress);
  static std::unique_ptr<held_model> read(const std::string& file, unsigned long workers);
  static std::unique_ptr<held_model> from_bytes(const std::string& bytes, unsigned long workers);

  // Answers. Columns are those of the attributes. The last of what is given are names of columns,
  // as bytes, with the number of their values that training did not have.

  /// What decides the class of the rows, by row and class code.
  py::tuple predict(const py::list& columns, unsigned long n) const;
  /// The classes of the rows, as places in `order`, which has their codes.
  py::tuple choose(const py::list& columns, unsigned long n,
                   const std::vector<orvik::code_t>& order) const;
  /// What the attributes contribute to the shares by row, class code and attribute, and the shares
  /// without them by class code.
  py::tuple explain(const py::list& columns, unsigned long n) const;
  /// Whether a class is in the set of a row, by row and class code.
  py::tuple sets(const py::list& columns, unsigned long n, double percent, bool by_class) const;
  /// Leaves by row and tree.
  py::tuple apply(const py::list& columns, unsigned long n) const;
  /// Of a sparse matrix of nodes by row: where rows begin, the nodes, and where trees begin.
  py::tuple decision_path(const py::list& columns, unsigned long n) const;

  /// A copy that is calibrated on rows, by the codes of their classes and their weights.
  py::tuple calibrated(const py::list& columns, const std::vector<orvik::code_t>& classes,
                       const std::vector<double>& weights, const std::string& how) const;

  /// Gain and permutation by attribute; the latter not-a-number without the training table.
  py::tuple importance(const held_table* training) const;
  std::vector<double> oob_errors(const held_table& training) const;
  bool recall_draws(const held_table& training, unsigned long seed);

  py::bytes to_bytes() const { return model_->to_bytes(); }
  void save(const std::string& file) const;
  /// The model, or one of its trees, in a form by its name.
  std::string form(const std::string& name, unsigned long tree, long depth,
                   const std::string& relation) const;

  unsigned long workers() const { return run_.get_n_workers(); }
  const orvik::dtree& get() const { return *model_; }

 private:
  void take(orvik::dtree* read);
  void start(const py::dict& how);
  void set_parameters(const py::dict& how);
  void set_costs(const orvik::table& of, const py::dict& how);

  /// work(run) under a run of its own, which an interrupt ends; a few rows are not worth a thread.
  template <class Work>
  void ask(unsigned long n, const Work& work) const;
  /// work() under the model's own run, which an interrupt ends: one at a time.
  template <class Work>
  void alone(const Work& work) const;
  /// Made by whoever predicts first.
  const orvik::cell_predictor& ready() const;

  mutable orvik::run_context run_;
  std::unique_ptr<orvik::dtree> model_;
  mutable std::mutex making_;
  mutable std::unique_ptr<const orvik::cell_predictor> predictor_;
  mutable std::timed_mutex working_;
  mutable std::unique_ptr<const orvik::explainer> explainer_;
};

template <class Work>
void held_model::ask(unsigned long n, const Work& work) const {
  constexpr unsigned long k_few = 1UL << 16;  // answers of trees
  orvik::run_context run;
  run.set_n_workers(run_.get_n_workers());
  if (n * model_->get_no_trees() > k_few) {
    return run_watched(run, py::none(), [&] { work(run); });
  }
  const py::gil_scoped_release release;
  work(run);
}

template <class Work>
void held_model::alone(const Work& work) const {
  std::unique_lock lock(working_, std::defer_lock);
  const auto is_free = [&] {
    const py::gil_scoped_release release;
    return lock.try_lock_for(std::chrono::milliseconds(100));
  };
  while (!is_free()) {
    if (PyErr_CheckSignals() != 0) throw py::error_already_set();
  }
  run_watched(run_, py::none(), work);
}

}  // namespace orvpython
