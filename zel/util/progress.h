// How far long work has come, for whoever wants to show it.
//
// The work counts what is finished, in relaxed steps worth more than the step costs; the program
// says which of the counts matters now. Nobody waits for anybody, and nothing is shown from here.
#pragma once

#include <array>
#include <atomic>

#include "zel/util/nocopy.h"

namespace zel::util::progress {

enum class unit : unsigned char { rows, nodes, trees, folds };

struct reading {
  unit of;
  unsigned long done;   ///< since begin()
  unsigned long total;  ///< 0: not known
};

class counts : private nocopy {
 public:
  /// Adds what was finished. Any thread.
  void count(unit of, unsigned long n = 1) {
    counters_[static_cast<unsigned>(of)].value.fetch_add(n, std::memory_order_relaxed);
  }
  /// All that was finished so far. Any thread.
  unsigned long done(unit of) const {
    return counters_[static_cast<unsigned>(of)].value.load(std::memory_order_relaxed);
  }

  /// From now on, `total` of these units are worked on. One thread.
  void begin(unit of, unsigned long total);
  /// Any thread. A reading while begin() writes may mix two works; the next one is right again.
  reading read() const;

 private:
  struct alignas(64) counter {
    std::atomic<unsigned long> value = 0;
  };

  std::array<counter, 4> counters_;  // by unit
  std::atomic<unit> current_ = unit::rows;
  std::atomic<unsigned long> start_ = 0, total_ = 0;
};

}  // namespace zel::util::progress
