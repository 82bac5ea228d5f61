// What a run shares beside its data: its worker threads, the seeds of its draws, how far it has
// come, and whether it is to end.
//
// Work is handed its context; several contexts may be at work in one process, and none changes what
// another one draws, counts or computes. Whatever is given none has the default context.
// Threads: all may count, draw, run loops, ask and cancel; workers and seeds are set between
// operations.
#pragma once

#include <tbb/task_arena.h>

#include <algorithm>
#include <atomic>
#include <string>
#include <vector>

#include "zel/util/default_context.h"
#include "zel/util/nocopy.h"
#include "zel/util/parallel.h"
#include "zel/util/progress.h"
#include "zel/util/seed.h"
#include "zel/util/team.h"

namespace zel::util {

class run_context : private nocopy {
 public:
  // ---- workers

  /// Worker threads that loops may use; below 2 every loop runs on the thread that calls it.
  /// At first the hardware threads.
  unsigned long n_workers = parallel::default_workers();

  /// @return the slots that an array of per-worker scratch needs: the threads an operation really
  /// gets, at least 1. More than max(256, hardware threads) are never started.
  unsigned long n_slots() const;
  /// @return the slot of the calling thread inside with_workers(), below n_slots(). Two bodies
  /// with one slot never run at once, but a nested loop's body may run within an outer body.
  unsigned long slot() const;

  /// Runs f() with the loops inside it on n_slots() threads, or just calls it when there are fewer
  /// than two. An operation opens its workers once and runs its loops inside: loops may nest.
  /// @return what f() returns.
  template <class F>
  decltype(auto) with_workers(F f) const {
    if (n_workers < 2) return f();
    const unsigned long threads = n_slots();
    const parallel::thread_share share(threads);
    tbb::task_arena arena(static_cast<int>(threads));
    return arena.execute(f);
  }

  /// Calls f(i) for every i of [0, n): in ascending order on the calling thread when n_workers < 2
  /// or n < 2, else as pfor() does. A thread that waits for the end of this loop takes up work of
  /// this loop only, so the stack does not grow by the bodies of outer loops. Asks before every
  /// call whether the run is cancelled.
  template <class F>
  void for_each_index(unsigned long n, F f) const {
    if (n_workers < 2 || n < 2) {
      for (unsigned long i = 0; i < n; ++i) call(f, i);
      return;
    }
    tbb::this_task_arena::isolate(
        [this, &f, n] { parallel::pfor(0, n, [this, &f](unsigned long i) { call(f, i); }); });
  }

  /// What append(i, text) appends for every i of [0, n), in their order, on all workers.
  template <class F>
  std::string join(unsigned long n, F append) const {
    std::vector<std::string> parts(n);
    for_each_index(n, [&](unsigned long i) { append(i, parts[i]); });
    std::string all;
    for (const std::string& part : parts) all += part;
    return all;
  }

  /// Other processes at the same run, with which it shares out some loops; null: none. Set between
  /// operations, and hidden from what is one process's own part of such a loop.
  mutable team* companions = nullptr;
  /// Keeps results of loops that take long; null: none. Likewise.
  mutable task_store* store = nullptr;

  /// Whether all companions take part in one task too, telling one another what each found in a
  /// step, and how many bytes they told so far, all together.
  struct shared_steps {
    bool wanted = false;
    unsigned long n = 0, bytes = 0, most_bytes = 0;
    unsigned long cells = 0;  // bytes besides, that one of them was told alone

    void add(unsigned long told) {
      ++n;
      bytes += told;
      most_bytes = std::max(most_bytes, told);
    }
  };
  shared_steps steps;

  // ---- seeds and progress

  seed_source& seeds() { return seeds_; }
  const seed_source& seeds() const { return seeds_; }
  progress::counts& progress() { return progress_; }
  const progress::counts& progress() const { return progress_; }

  /// Counts what was finished; throws where the run is cancelled.
  void count(progress::unit of, unsigned long n = 1) {
    progress_.count(of, n);
    require_not_cancelled();
  }

  // ---- the end before the end

  /// Long work under this context throws as soon as it asks, until resume() is called.
  void cancel() { cancelled_.store(true, std::memory_order_relaxed); }
  void resume() { cancelled_.store(false, std::memory_order_relaxed); }
  bool is_cancelled() const { return cancelled_.load(std::memory_order_relaxed); }
  /// Throws std::runtime_error where it is. The price of a load: fit for every node of a tree.
  void require_not_cancelled() const {
    if (is_cancelled()) throw_cancelled();
  }

 private:
  template <class F>
  void call(F& f, unsigned long i) const {
    require_not_cancelled();
    f(i);
  }
  [[noreturn]] static void throw_cancelled();

  seed_source seeds_;
  progress::counts progress_;
  std::atomic<bool> cancelled_ = false;
};

}  // namespace zel::util
