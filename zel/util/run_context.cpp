#include "zel/util/run_context.h"

#include <algorithm>
#include <cassert>
#include <stdexcept>

namespace zel::util {

namespace {

constexpr char k_cancelled[] = "the run was cancelled";

// Past this number (or the hardware threads) another thread only costs memory and may fail to
// start.
constexpr unsigned long k_most_threads = 256;

}  // namespace

run_context& default_context() {
  static run_context context;
  return context;
}

seed_source& default_seeds() { return default_context().seeds(); }

unsigned long& parallel::n_workers = default_context().n_workers;

unsigned long run_context::n_slots() const {
  static const unsigned long most = std::max(k_most_threads, parallel::default_workers());
  return std::clamp(n_workers, 1UL, most);
}

unsigned long run_context::slot() const {
  if (n_workers < 2) return 0;
  // Negative on a thread that has not yet met the scheduler.
  const int index = tbb::this_task_arena::current_thread_index();
  assert(index < static_cast<int>(n_slots()));
  return index < 0 ? 0 : static_cast<unsigned long>(index);
}

void run_context::throw_cancelled() { throw std::runtime_error(k_cancelled); }

}  // namespace zel::util
