// How far long work has come, for whoever wants to show it.
//
// The work counts what is finished, in relaxed steps worth more than the step costs; the program
// says which of the counts matters now. Nobody waits for anybody, and nothing is shown from here.
#pragma once

#include <array>
#include <atomic>

namespace zel::util::progress {

enum class unit : unsigned char { rows, nodes, trees, folds };

struct reading {
  unit of;
  unsigned long done;   ///< since begin()
  unsigned long total;  ///< 0: not known
};

struct alignas(64) counter {
  std::atomic<unsigned long> value = 0;
};
// A program shares these with the library, also with a shared one.
[[gnu::visibility("default")]] extern std::array<counter, 4> counters;

/// Adds what was finished. Any thread.
inline void count(unit of, unsigned long n = 1) {
  counters[static_cast<unsigned>(of)].value.fetch_add(n, std::memory_order_relaxed);
}

/// From now on, `total` of these units are worked on. One thread.
[[gnu::visibility("default")]] void begin(unit of, unsigned long total);
/// Any thread.
[[gnu::visibility("default")]] reading read();

}  // namespace zel::util::progress
