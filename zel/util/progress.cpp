#include "zel/util/progress.h"

namespace zel::util::progress {

std::array<counter, 4> counters;

namespace {

std::atomic<unit> current = unit::rows;
std::atomic<unsigned long> current_start = 0, current_total = 0;

unsigned long count_of(unit of) {
  return counters[static_cast<unsigned>(of)].value.load(std::memory_order_relaxed);
}

}  // namespace

void begin(unit of, unsigned long total) {
  current_start = count_of(of);
  current_total = total;
  current = of;
}

/// A reading while begin() writes may mix two works; the next one is right again.
reading read() {
  const unit of = current;
  const unsigned long done = count_of(of), start = current_start;
  return {of, done > start ? done - start : 0, current_total};
}

}  // namespace zel::util::progress
