// Stable sort by a small integer key in O(items + keys), with memory that outlives the call.
#pragma once

#include <algorithm>
#include <cassert>
#include <span>
#include <vector>

namespace zel::adt {

/// One stable pass: copies `from` to `to` by ascending key(item), equal keys in their order.
/// Every key lies in [lo, lo + range); `to` has room for all items and does not overlap `from`.
/// O(items + range); allocates only where `starts` is shorter than the range.
template <class T, class Key>
void counting_pass(std::span<const T> from, T* to, Key key, unsigned long lo, unsigned long range,
                   std::vector<unsigned long>& starts) {
  starts.assign(range, 0);
  for (const T& item : from) {
    assert(key(item) >= lo && key(item) - lo < range);
    ++starts[key(item) - lo];
  }
  unsigned long start = 0;
  for (unsigned long& entry : starts) {
    const unsigned long n = entry;
    entry = start;
    start += n;
  }
  for (const T& item : from) to[starts[key(item) - lo]++] = item;
}

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
  counting_pass(std::span<const T>(items), scratch.items.data(), key, lo, range, scratch.starts);
  std::copy_n(scratch.items.begin(), items.size(), items.begin());
}

}  // namespace zel::adt
