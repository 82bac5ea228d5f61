#include "zel/util/parallel.h"

#include <tbb/global_control.h>

#include <algorithm>
#include <cassert>
#include <memory>
#include <mutex>
#include <thread>

namespace zel::util::parallel {

namespace {

/// The threads of all shares. The new limit is there before the old one goes: in between the
/// lesser of the two holds, never oneTBB's own.
class thread_limit {
 public:
  void add(unsigned long threads) {
    const std::lock_guard lock(mutex_);
    set(threads_ + threads);
  }
  void remove(unsigned long threads) {
    const std::lock_guard lock(mutex_);
    assert(threads <= threads_);
    set(threads_ - threads);
  }

 private:
  void set(unsigned long threads) {
    using tbb::global_control;
    auto limit = threads == 0 ? nullptr
                              : std::make_unique<global_control>(
                                    global_control::max_allowed_parallelism, threads);
    limit_.swap(limit);
    threads_ = threads;
  }

  std::mutex mutex_;
  unsigned long threads_ = 0;
  std::unique_ptr<tbb::global_control> limit_;  // null where there are no shares
};

thread_limit& all_shares() {
  static thread_limit limit;
  return limit;
}

}  // namespace

unsigned long default_workers() {
  return std::max<unsigned long>(std::thread::hardware_concurrency(), 1);
}

thread_share::thread_share(unsigned long threads) : threads_(threads) { all_shares().add(threads); }
thread_share::~thread_share() { all_shares().remove(threads_); }

}  // namespace zel::util::parallel
