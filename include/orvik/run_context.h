// What operations share beside their data: worker threads, seeds, how far they have come, and
// whether they are to end.
#pragma once

#include <memory>

#include "orvik/export.h"

namespace zel::util {
class run_context;
}

namespace orvik {

/// Models, tables and subsets that use() one context share it; those that use none share the
/// default one, that of the functions in orvik/orvik.h. Operations of different contexts may run at
/// a time in different threads: each gives what it would give alone.
/// A context must outlive the operations of all that use it.
/// Threads: get_done(), cancel(), resume() and is_cancelled() at any time from any thread; the
/// others between operations.
class ORVIK_EXPORT run_context {
 public:
  enum class unit : unsigned char { rows, nodes, trees };

  /// With a worker for every hardware thread, and without a seed.
  run_context();
  ~run_context();
  run_context(const run_context&) = delete;
  run_context& operator=(const run_context&) = delete;

  /// Number of threads that an operation may use, the caller's among them. No result hangs on it.
  unsigned long get_n_workers() const;
  /// Sets it; 0 restores the default, the number of hardware threads.
  void set_n_workers(unsigned long n);
  /// Makes all random draws from now on repeatable, for any number of workers. Without it every
  /// run draws differently.
  void set_seed(unsigned long seed);

  /// Rows loaded, nodes grown or trees grown so far; those of work that failed count too.
  unsigned long get_done(unit of) const;

  /// Makes loading, building, pruning, feature selection, testing and scoring throw a
  /// std::runtime_error soon, those under way and those begun later, until resume() is called.
  /// Tables stay as they were; a model is left without trees by build(), feature_selection() and
  /// prune(). All of them can be used again.
  void cancel();
  void resume();
  bool is_cancelled() const;

  /// For the library's own use.
  zel::util::run_context& get_impl() const { return *impl_; }

 private:
  std::unique_ptr<zel::util::run_context> impl_;
};

}  // namespace orvik
