#include "zel/util/parallel.h"

#include <tbb/global_control.h>
#include <tbb/info.h>

#include <algorithm>
#include <cassert>
#include <cstddef>
#include <memory>
#include <mutex>
#include <new>
#include <thread>
#include <utility>

namespace zel::util::parallel {

namespace {

/// While oneTBB loads its allocator the C library cannot do without some hundred bytes: it writes
/// through a pointer that is none. What is given back here is there for it.
void require_room_for_loading() {
  constexpr std::size_t k_room = 1UL << 16;
  ::operator delete(::operator new(k_room));
}

/// The threads of all shares. The new limit is there before the old one goes: in between the
/// lesser of the two holds, never oneTBB's own.
class thread_limit {
 public:
  void add(unsigned long threads) {
    const std::lock_guard lock(mutex_);
    require_scheduler();
    set(threads_ + threads);
  }
  void remove(unsigned long threads) {
    const std::lock_guard lock(mutex_);
    assert(threads <= threads_);
    set(threads_ - threads);
  }

 private:
  /// oneTBB looks for the processors once, at its first call. Where it has no memory for that,
  /// every later call, the end of a limit too, waits for ever: so none comes before it has
  /// succeeded.
  void require_scheduler() {
    if (has_asked_ && !has_scheduler_) throw std::bad_alloc();
    if (std::exchange(has_asked_, true)) return;
    require_room_for_loading();
    has_scheduler_ = tbb::info::default_concurrency() > 0;
  }
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
  bool has_asked_ = false, has_scheduler_ = false;
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
