// Progress of long work, told on the standard error stream.
#pragma once

#include <condition_variable>
#include <mutex>
#include <string>
#include <thread>

#include "zel/util/nocopy.h"
#include "zel/util/progress.h"

namespace zel::util::progress {

/// Work that is not counted has a name from now on, such as "pruning", until counts::begin(); null:
/// none. The text must outlive the process.
void stage(const char* name);
const char* current_stage();

/// "12 of 100 trees, 3.4 trees/s, 26 s left", as far as it is known: `recent` of those done took
/// the last `seconds`. Empty before anything is done.
std::string text_of(const reading& at, double seconds, unsigned long recent);

/// While it lives, shows how far the default context is: on a terminal behind what stands there,
/// after a second and four times a second; elsewhere as lines, after 20 seconds and every 20
/// seconds.
class display : private nocopy {
 public:
  explicit display(bool shown);
  /// Clears what is shown.
  ~display();

 private:
  void run();
  void show(const std::string& text);

  bool on_terminal_;
  std::mutex mutex_;
  std::condition_variable ended_;
  bool end_ = false;  // under mutex_
  std::thread shower_;
};

}  // namespace zel::util::progress
