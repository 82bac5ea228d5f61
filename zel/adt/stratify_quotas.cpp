#include "zel/adt/stratify_quotas.h"

#include <algorithm>
#include <cassert>
#include <utility>

namespace zel::adt {

unsigned long fraction_of(unsigned long n, long double frac) {
  return static_cast<unsigned long>(static_cast<long double>(n) * frac);
}

std::vector<unsigned long> stratify_quotas(const std::vector<unsigned long>& count,
                                           long double frac, unsigned long sample) {
  std::vector<unsigned long> quota(count.size());
  std::vector<std::pair<unsigned long, unsigned long>> smallest_first;  // (quota, class)
  unsigned long given = 0;
  for (unsigned long c = 0; c < count.size(); ++c) {
    if (count[c] == 0) continue;
    quota[c] = fraction_of(count[c], frac);
    smallest_first.emplace_back(quota[c], c);
    given += quota[c];
  }
  std::sort(smallest_first.begin(), smallest_first.end());
  // Every class lost less than one element to the rounding, so one pass is enough.
  const unsigned long rest = sample > given ? sample - given : 0;
  assert(rest <= smallest_first.size());
  for (unsigned long i = 0; i < rest; ++i) ++quota[smallest_first[i].second];
  return quota;
}

}  // namespace zel::adt
