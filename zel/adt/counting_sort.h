// Stable sort by a small integer key in O(items + keys), with memory that outlives the call.
#pragma once

#include <algorithm>
#include <cassert>
#include <span>
#include <vector>

namespace zel::adt {

/// Working memory of counting_sort(). It only grows: calls that fit in it allocate nothing.
template <class T>
struct counting_scratch {
  std::vector<T> items;
  std::vector<unsigned long> starts;
};

/// Sorts `items` by ascending key(item), equal keys in their former order.
/// Every key lies in [lo, lo + range); time and scratch are O(items.size() + range).
template <class T, class Key>
void counting_sort(std::span<T> items, Key key, unsigned long lo, unsigned long range,
                   counting_scratch<T>& scratch) {
  if (items.size() < 2) return;
  if (scratch.items.size() < items.size()) scratch.items.resize(items.size());
  std::vector<unsigned long>& starts = scratch.starts;
  starts.assign(range, 0);
  for (const T& item : items) {
    assert(key(item) >= lo && key(item) - lo < range);
    ++starts[key(item) - lo];
  }
  unsigned long start = 0;
  for (unsigned long& entry : starts) {
    const unsigned long n = entry;
    entry = start;
    start += n;
  }
  for (const T& item : items) scratch.items[starts[key(item) - lo]++] = item;
  std::copy_n(scratch.items.begin(), items.size(), items.begin());
}

}  // namespace zel::adt
