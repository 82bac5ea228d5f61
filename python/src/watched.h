// Long work while Python goes on.
#pragma once

#include <pybind11/pybind11.h>

#include <chrono>
#include <condition_variable>
#include <exception>
#include <mutex>
#include <optional>
#include <thread>

#include "orvik/run_context.h"

namespace orvpython {

namespace py = pybind11;

/// Tells a callable that is not None how many rows, nodes and trees are done.
inline void tell(const py::object& progress, const orvik::run_context& run) {
  if (progress.is_none()) return;
  using unit = orvik::run_context::unit;
  progress(run.get_done(unit::rows), run.get_done(unit::nodes), run.get_done(unit::trees));
}

/// Runs work() under `run` on a thread of its own, without Python's lock. Meanwhile this one looks
/// for signals, and tells of the progress, some ten times a second: what these raise, as
/// KeyboardInterrupt, cancels the run, waits for its end and is thrown on.
template <class Work>
void run_watched(orvik::run_context& run, const py::object& progress, const Work& work) {
  std::mutex guard;
  std::condition_variable changed;
  bool ended = false;
  std::exception_ptr failure;
  std::thread worker([&] {
    try {
      work();
    } catch (...) {
      failure = std::current_exception();
    }
    const std::lock_guard lock(guard);
    ended = true;
    changed.notify_one();
  });
  const auto wait = [&](std::chrono::milliseconds time) {
    const py::gil_scoped_release release;
    std::unique_lock lock(guard);
    return changed.wait_for(lock, time, [&] { return ended; });
  };
  std::optional<py::error_already_set> raised;
  while (!wait(std::chrono::milliseconds(raised ? 1000 : 100))) {
    if (raised) continue;
    try {
      if (PyErr_CheckSignals() != 0) throw py::error_already_set();
      tell(progress, run);
    } catch (py::error_already_set& error) {
      raised.emplace(error);
      run.cancel();
    }
  }
  {
    const py::gil_scoped_release release;
    worker.join();
  }
  run.resume();
  if (raised) throw py::error_already_set(std::move(*raised));
  if (failure) std::rethrow_exception(failure);
  tell(progress, run);
}

}  // namespace orvpython
