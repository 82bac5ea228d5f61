// The best cut of a continuous attribute that takes few cases a value: they are sorted, and each
// passes the cut by itself, in its order.
#pragma once

#include <algorithm>
#include <cassert>
#include <cstdint>
#include <span>

#include "impls/splitting/cells.h"
#include "impls/splitting/cut_search.h"
#include "impls/splitting/measure.h"
#include "zel/adt/key_sort.h"

namespace orvik::impls::splitting {

/// Weighed cases of known value in ascending order of code. A layout of cells, see cells.h.
struct keyed_cases {
  std::span<const std::uint64_t> keys;  // (code - below, any)
  const weighed_case* cases;            // beside the keys
  code_t below;

  code_t code_at(std::size_t i) const { return below + (keys[i] >> zel::adt::k_key_payload_bits); }

  value_group at(std::size_t begin) const {
    if (begin == keys.size()) return {begin, begin, 0, k_mixed};
    const code_t code = code_at(begin);
    std::uint32_t only = cases[begin].place;
    std::size_t end = begin + 1;
    for (; end < keys.size() && code_at(end) == code; ++end) {
      if (cases[end].place != only) only = k_mixed;
    }
    return {begin, end, code, only};
  }
  template <class Search>
  void move(const value_group& value, Search& search) const {
    for (std::size_t i = value.begin; i < value.end; ++i) {
      search.move(cases[i].place, cases[i].weight);
    }
  }
};

/// Unknown values first, equal codes in the order of the cases; all fit in 32 bits.
template <class Codes>
std::span<const std::uint64_t> sorted_keys_of(const Codes& codes,
                                              std::span<const weighed_case> cases, code_t below,
                                              code_t end, zel::adt::key_sorter& sorter) {
  const std::span<std::uint64_t> keys = sorter.start(cases.size());
  for (std::size_t i = 0; i < keys.size(); ++i) {
    const std::uint64_t code = codes[cases[i].row];
    assert(code == k_unknown || (code > below && code < end));
    keys[i] = (code == k_unknown ? 0 : code - below) << zel::adt::k_key_payload_bits | i;
  }
  return sorter.sort(keys.size(), end - below);
}

/// `in_place`, which may be null, are the node's cases, to be left sorted, unknown values first.
template <class Impurity, class Codes>
splitting_desc cut_by_sorting(const Impurity& impurity, const Codes& codes,
                              const weighed_node& node, const code_range& range,
                              weighed_case* in_place, scratch<double>& s) {
  const code_t below = range.first - 1;
  const std::span<const std::uint64_t> keys =
      sorted_keys_of(codes, node.cases, below, range.second, s.sorted.keys);
  const std::size_t n = keys.size();
  if (s.sorted.cases.size() < n) s.sorted.cases.resize(n);
  weighed_case* const sorted = s.sorted.cases.data();
  const auto take = [&](std::size_t i) -> const weighed_case& {
    return sorted[i] = node.cases[static_cast<std::uint32_t>(keys[i])];
  };
  double unknown = 0;
  std::size_t first = 0;
  for (; first < n && keys[first] >> zel::adt::k_key_payload_bits == 0; ++first) {
    unknown += take(first).weight;
  }
  node.start_known(s.known);
  for (std::size_t i = first; i < n; ++i) {
    const weighed_case& c = take(i);
    s.known[c.place] += c.weight;
  }
  if (in_place != nullptr) std::copy_n(sorted, n, in_place);
  s.left.assign(node.n_places, 0);
  const keyed_cases cells{keys.subspan(first), sorted + first, below};
  return best_cut<Impurity, keyed_cases, double>(impurity, cells, node, unknown, s.left, s.known,
                                                 s.cut);
}

}  // namespace orvik::impls::splitting
