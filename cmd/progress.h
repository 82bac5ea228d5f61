// Progress of long work on a terminal.
#pragma once

#include <chrono>
#include <condition_variable>
#include <mutex>
#include <string>
#include <thread>

#include "options.h"
#include "zel/util/progress.h"

namespace orvcmd {

/// "12 of 100 trees, 3.4 trees/s, 26 s left", as far as it is known; empty before anything is done.
std::string progress_text(const zel::util::progress::reading& at, double seconds);

/// While it lives, shows how far the run is behind what stands on the terminal of standard error,
/// after a second and four times a second. Shows nothing where that is no terminal, and with -nl.
class progress_display {
 public:
  explicit progress_display(const options& opt);
  /// Clears what is shown.
  ~progress_display();
  progress_display(const progress_display&) = delete;
  progress_display& operator=(const progress_display&) = delete;

 private:
  void run();
  void show(const std::string& text);

  std::mutex mutex_;
  std::condition_variable ended_;
  bool end_ = false;  // under mutex_
  std::thread shower_;
};

}  // namespace orvcmd
