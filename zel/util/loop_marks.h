// What the thread sanitizer is told about parallel loops: the caller's work before a loop comes
// before its bodies, and theirs before the caller's work after it; and about the stages of
// pipelines that work in turn. oneTBB keeps that order, but the packaged library is not
// instrumented, so the sanitizer cannot see it. Nothing in other builds.
#pragma once

#ifdef __SANITIZE_THREAD__
#include <sanitizer/tsan_interface.h>
#define ZEL_UNWATCHED __attribute__((no_sanitize_thread))
#else
#define ZEL_UNWATCHED
#endif

namespace zel::util::parallel {

/// One loop, made by the caller before it and alive until it ends.
class loop_marks {
 public:
#ifdef __SANITIZE_THREAD__
  loop_marks() { __tsan_release(&fork_); }
  ~loop_marks() { __tsan_acquire(&join_); }
  /// The caller's work up to here comes before the bodies that begin from now on.
  void publish() { __tsan_release(&fork_); }
  void enter_body() { __tsan_acquire(&fork_); }
  void leave_body() { __tsan_release(&join_); }
#else
  // Not defaulted: a loop's marks are never an unused variable.
  loop_marks() {}  // NOLINT(modernize-use-equals-default)
  void publish() {}
  void enter_body() {}
  void leave_body() {}
#endif
  loop_marks(const loop_marks&) = delete;
  loop_marks& operator=(const loop_marks&) = delete;

 private:
  [[maybe_unused]] char fork_ = 0, join_ = 0;
};

/// The calls of one body, however they end.
class body_mark {
 public:
  explicit body_mark(loop_marks& loop) : loop_(loop) { loop_.enter_body(); }
  ~body_mark() { loop_.leave_body(); }
  body_mark(const body_mark&) = delete;
  body_mark& operator=(const body_mark&) = delete;

 private:
  loop_marks& loop_;
};

/// What threads do one after the other: each turn comes before those that begin when it has ended.
class turn_marks {
 public:
#ifdef __SANITIZE_THREAD__
  void begin() { __tsan_acquire(&turn_); }
  void end() { __tsan_release(&turn_); }
#else
  void begin() {}
  void end() {}
#endif

 private:
  [[maybe_unused]] char turn_ = 0;
};

/// One turn, however it ends.
class turn_mark {
 public:
  explicit turn_mark(turn_marks& of) : of_(of) { of_.begin(); }
  ~turn_mark() { of_.end(); }
  turn_mark(const turn_mark&) = delete;
  turn_mark& operator=(const turn_mark&) = delete;

 private:
  turn_marks& of_;
};

}  // namespace zel::util::parallel
