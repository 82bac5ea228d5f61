// Progress of long work on a terminal.
#pragma once

#include <string>

#include "zel/util/progress_display.h"

namespace orvcmd {

/// As zel::util::progress::text_of() of work that did all it has done in these seconds.
inline std::string progress_text(const zel::util::progress::reading& at, double seconds) {
  return zel::util::progress::text_of(at, seconds, at.done);
}

}  // namespace orvcmd
