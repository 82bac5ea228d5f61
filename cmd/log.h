// Log messages: each starts on a new line; without a log nothing is written.
#pragma once

#include <ostream>

namespace orvcmd {

template <class... Parts>
void log_line(std::ostream* log, const Parts&... parts) {
  if (log == nullptr) return;
  *log << '\n';
  (*log << ... << parts) << std::flush;
}

}  // namespace orvcmd
