// Loops over indices spread over the worker threads, and the number of those threads.
//
// An operation opens its workers once, with_workers(), and runs its loops inside: loops may nest.
// Bodies write only to what belongs to their index or to their slot().
#pragma once

#include <tbb/blocked_range.h>
#include <tbb/global_control.h>
#include <tbb/parallel_for.h>
#include <tbb/partitioner.h>
#include <tbb/task_arena.h>

#include "zel/util/loop_marks.h"

namespace zel::util::parallel {

/// Worker threads that loops may use; below 2 every loop runs on the thread that calls it.
/// At first the hardware threads. Written between operations only.
extern unsigned long n_workers;

/// @return the number of hardware threads, 1 if the platform does not tell.
unsigned long default_workers();

/// @return the slots that an array of per-worker scratch needs: the threads an operation really
/// gets, at least 1. More than max(256, hardware threads) are never started.
unsigned long n_slots();

/// @return the slot of the calling thread inside with_workers(), below n_slots(). Two bodies
/// with one slot never run at once, but a nested loop's body may run within an outer body.
unsigned long slot();

/// What oneTBB copies and calls for each part of a loop's range.
template <class F>
struct loop_body {
  F& f;
  loop_marks& marks;

  ZEL_UNWATCHED void operator()(const tbb::blocked_range<unsigned long>& part) const {
    const body_mark mark(marks);
    call(f, part.begin(), part.end());
  }
  static void call(F& f, unsigned long first, unsigned long last) {
    for (unsigned long i = first; i != last; ++i) f(i);
  }
};

/// Calls f(i) once for every i of [first, last), each on any thread of the current arena, and
/// returns when all calls are done. The first exception of a body ends the loop and is thrown on.
template <class F>
void pfor(unsigned long first, unsigned long last, F f) {
  if (first >= last) return;
  using range = tbb::blocked_range<unsigned long>;
  loop_marks marks;
  tbb::parallel_for(range(first, last, 1), loop_body<F>{f, marks}, tbb::auto_partitioner());
}

/// Runs f() with the loops inside it on n_slots() threads, or just calls it when n_workers < 2.
/// @return what f() returns.
template <class F>
decltype(auto) with_workers(F f) {
  if (n_workers < 2) return f();
  const unsigned long threads = n_slots();
  const tbb::global_control limit(tbb::global_control::max_allowed_parallelism, threads);
  tbb::task_arena arena(static_cast<int>(threads));
  return arena.execute(f);
}

/// Calls f(i) for every i of [0, n): in ascending order on the calling thread when n_workers < 2
/// or n < 2, else as pfor() does. A thread that waits for the end of this loop takes up work of
/// this loop only, so the stack does not grow by the bodies of outer loops.
template <class F>
void for_each_index(unsigned long n, F f) {
  if (n_workers < 2 || n < 2) {
    for (unsigned long i = 0; i < n; ++i) f(i);
    return;
  }
  tbb::this_task_arena::isolate([&f, n] { pfor(0, n, [&f](unsigned long i) { f(i); }); });
}

}  // namespace zel::util::parallel
