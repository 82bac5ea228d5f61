// Sorting of cases in their place by the codes of a column.
#pragma once

#include <algorithm>
#include <cstdint>
#include <span>
#include <vector>

#include "impls/tables/types.h"
#include "zel/adt/key_sort.h"

namespace orvik::impls::kernel {

/// Stable; O(cases) where the codes are spread. All codes are below 2^32. Allocates only while
/// the thread's memory grows.
template <class Codes>
void sort_cases(const Codes& codes, std::span<case_list::value_type> cases) {
  thread_local zel::adt::key_sorter sorter;
  thread_local std::vector<case_list::value_type> sorted;
  const std::span<std::uint64_t> keys = sorter.start(cases.size());
  std::uint64_t highest = 0;
  for (std::size_t i = 0; i < cases.size(); ++i) {
    const std::uint64_t code = codes[cases[i].first];
    highest = std::max(highest, code);
    keys[i] = code << zel::adt::k_key_payload_bits | i;
  }
  sorted.clear();
  for (const std::uint64_t key : sorter.sort(cases.size(), highest + 1)) {
    sorted.push_back(cases[static_cast<std::uint32_t>(key)]);
  }
  std::copy(sorted.begin(), sorted.end(), cases.begin());
}

}  // namespace orvik::impls::kernel
