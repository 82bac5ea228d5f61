#include "zel/text/nearest_name.h"

#include <algorithm>
#include <numeric>

namespace zel::text {

namespace {

/// The number of insertions, removals, replacements and swaps of neighbours from one to the other.
std::size_t distance(const std::string& from, const std::string& to) {
  std::vector<std::size_t> before(to.size() + 1), last(to.size() + 1), now(to.size() + 1);
  std::iota(last.begin(), last.end(), 0UL);
  for (std::size_t i = 1; i <= from.size(); ++i) {
    now[0] = i;
    for (std::size_t j = 1; j <= to.size(); ++j) {
      const bool same = from[i - 1] == to[j - 1];
      now[j] = std::min({last[j] + 1, now[j - 1] + 1, last[j - 1] + (same ? 0 : 1)});
      const bool swapped = i > 1 && j > 1 && from[i - 1] == to[j - 2] && from[i - 2] == to[j - 1];
      if (swapped) now[j] = std::min(now[j], before[j - 2] + 1);
    }
    before.swap(last);
    last.swap(now);
  }
  return last[to.size()];
}

}  // namespace

std::string nearest_name(const std::string& word, const std::vector<std::string>& names) {
  std::string best;
  std::size_t least = word.size() / 3 + 2;
  for (const std::string& name : names) {
    const bool begun = word.size() > 2 && name.starts_with(word);
    const std::size_t d = begun ? 1 : distance(word, name);
    if (d < least) {
      least = d;
      best = name;
    }
  }
  return best;
}

}  // namespace zel::text
