// Sorting of cases in their place by the codes of a column.
#pragma once

#include <algorithm>
#include <cassert>
#include <cstdint>
#include <span>
#include <vector>

#include "impls/types.h"
#include "zel/adt/key_sort.h"

namespace orvik::impls::kernel {

/// Stable, unknown values first; O(cases) where the codes are spread. All codes are below 2^32,
/// those of known values at least `lowest`. Calls visit(code, case) in the new order. Allocates
/// only while the thread's memory grows.
template <class Codes, class Visit>
void sort_cases(const Codes& codes, std::span<case_list::value_type> cases, std::uint64_t lowest,
                const Visit& visit) {
  thread_local zel::adt::key_sorter sorter;
  thread_local std::vector<case_list::value_type> sorted;
  const std::uint64_t below =
      lowest - 1;  // so that codes of a narrow range spread over the buckets
  const std::span<std::uint64_t> keys = sorter.start(cases.size());
  std::uint64_t highest = 0;
  for (std::size_t i = 0; i < cases.size(); ++i) {
    const std::uint64_t code = codes[cases[i].first];
    assert(code == k_unknown || code >= lowest);
    const std::uint64_t place = code == k_unknown ? 0 : code - below;
    highest = std::max(highest, place);
    keys[i] = place << zel::adt::k_key_payload_bits | i;
  }
  sorted.clear();
  for (const std::uint64_t key : sorter.sort(cases.size(), highest + 1)) {
    const case_list::value_type& c = cases[static_cast<std::uint32_t>(key)];
    const std::uint64_t place = key >> zel::adt::k_key_payload_bits;
    visit(place == 0 ? k_unknown : place + below, c);
    sorted.push_back(c);
  }
  std::copy(sorted.begin(), sorted.end(), cases.begin());
}

}  // namespace orvik::impls::kernel
