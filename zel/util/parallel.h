// The loop over indices that all parallel work comes down to, and the threads it may have.
//
// Operations do not call it themselves: they open their workers with a context
// (zel/util/run_context.h), which runs their loops.
// Bodies write only to what belongs to their index or to the slot of their thread.
#pragma once

#include <tbb/blocked_range.h>
#include <tbb/parallel_for.h>
#include <tbb/partitioner.h>
#include <tbb/task_group.h>

#include <stdexcept>

#include "zel/util/loop_marks.h"
#include "zel/util/nocopy.h"

namespace zel::util::parallel {

/// Worker threads of the default context.
extern unsigned long& n_workers;

/// @return the number of hardware threads, 1 if the platform does not tell.
unsigned long default_workers();

/// Lets the process run so many threads more while it lives: oneTBB has one limit for all arenas,
/// and of several that are asked for at a time it takes the least.
/// Cost: a lock at both ends.
class thread_share : private nocopy {
 public:
  explicit thread_share(unsigned long threads);
  ~thread_share();

 private:
  unsigned long threads_;
};

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

/// Waits for the tasks of a group. Throws std::runtime_error where some were never begun, because
/// the loop that this is a part of ended early: what ended it is what its caller sees.
inline void finish(tbb::task_group& tasks) {
  if (tasks.wait() == tbb::canceled) throw std::runtime_error("the work was given up");
}

}  // namespace zel::util::parallel
