// The stopwatch of every timed step: wall-clock and processor seconds side by side.
//
// A watch is started, stopped and read by one owner. It accumulates: a pause is stop() followed
// by restart(), a fresh measurement is start().
#pragma once

#include <sys/time.h>

#include <string>

namespace zel::util {

class cronos {
 public:
  /// A watch at zero that is not running; stop() means nothing before start() or restart().
  cronos() = default;
  virtual ~cronos() = default;

  /// Sets both sums to zero and the start marks to now.
  virtual void start();
  /// Adds the time since the last start or restart to the sums. The marks stay where they are:
  /// a second stop() adds the whole interval again.
  virtual void stop();
  /// Sets the start marks to now and keeps the sums.
  virtual void restart();

  /// @return the wall-clock seconds added up so far.
  virtual double get_elapsed() const { return elapsed_; }
  /// @return the processor seconds of the process and its ended children, user and system.
  virtual double get_process() const { return process_; }

  /// @return the local date and time, "Thu Jan  1 00:00:00 1970\n", with the line end.
  static std::string get_current_time();
  /// Sleeps for `ms` milliseconds, less if a signal arrives. Throws std::runtime_error if `ms`
  /// in microseconds does not fit in 64 bits.
  static void sleep(unsigned long ms);

 private:
  double elapsed_ = 0;
  double process_ = 0;
  timeval wall_start_{};
  double process_start_ = 0;
};

}  // namespace zel::util
