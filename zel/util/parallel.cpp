#include "zel/util/parallel.h"

#include <algorithm>
#include <thread>

namespace zel::util::parallel {

namespace {

// Past this number (or the hardware threads) another thread only costs memory and may fail to
// start.
constexpr unsigned long k_most_threads = 256;

}  // namespace

unsigned long n_workers = default_workers();

unsigned long default_workers() {
  return std::max<unsigned long>(std::thread::hardware_concurrency(), 1);
}

unsigned long n_slots() {
  static const unsigned long most = std::max(k_most_threads, default_workers());
  return std::clamp(n_workers, 1UL, most);
}

unsigned long slot() {
  if (n_workers < 2) return 0;
  // Negative on a thread that has not yet met the scheduler.
  const int index = tbb::this_task_arena::current_thread_index();
  return index < 0 ? 0 : static_cast<unsigned long>(index);
}

}  // namespace zel::util::parallel
