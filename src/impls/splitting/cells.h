// The cells of an attribute at a node, an amount for every known code and class: filled by one pass
// over the cases, read value by value.
//
// Three layouts hold the same cells: dense ones, a row for every code of the range; and sorted
// cases or keys, where clearing and reading cells that do not occur would take longer than sorting
// does. A layout has
//   at(begin)            the value that begins there, an empty one past the last
//   move(value, search)  moves its cells from the right of a cut to the left, class by class
//   add_to(known)        adds all cells by place, from the lowest code up
#pragma once

#include <algorithm>
#include <cassert>
#include <cstdint>
#include <span>
#include <type_traits>
#include <vector>

#include "impls/splitting/code_sort.h"
#include "impls/splitting/cut_bound.h"
#include "impls/splitting/node_cases.h"
#include "zel/adt/key_sort.h"

namespace orvik::impls::splitting {

/// Instead of a class's place: of a value whose cases are of several classes; of one without cases.
constexpr std::uint32_t k_mixed = 0xffffffff;
constexpr std::uint32_t k_absent = 0xfffffffe;

/// The cases of one known value.
struct value_group {
  std::size_t begin, end;
  code_t code;
  std::uint32_t only;  // the place of the class of all its cases, or k_mixed

  bool is_past_last() const { return begin == end; }
};

/// Cells for all codes, from this number of them a case on, take longer to clear and to read than
/// the cases take to sort, and more memory.
constexpr std::size_t k_cells_per_case = 4;

template <class Node>
bool is_sparse(const Node& node, const code_range& range) {
  return (range.second - range.first) * node.n_places > k_cells_per_case * node.size();
}

/// What a cut of weighed cases by sorting works with.
struct sorted_scratch {
  zel::adt::key_sorter keys;
  std::vector<weighed_case> cases;
};

/// Memory of one measurement, kept by each thread.
template <class Amount>
struct scratch {
  std::vector<Amount> cells;                // by code of the range, then by place
  std::vector<std::uint32_t> value_class;   // by code, the only class, k_mixed, k_absent; or empty
  std::vector<Amount> known, left, others;  // by place
  std::vector<std::uint16_t> places;        // of the classes of a value
  std::conditional_t<is_exact<Amount>, zel::adt::key_sorter, code_sorter> sorter;
  cut_memory cut;         // of weights
  sorted_scratch sorted;  // of weights
};

/// Calls take(code, place, amount) for the cases of known value, in list order; exact amounts of
/// the others are taken off `known`. All is passed by value, so that the loop keeps it at hand.
/// @return the amount of the others.
template <class Node, class Codes, class Take>
typename Node::amount take_known(const Node node, const Codes codes, typename Node::amount* known,
                                 Take take) {
  using amount = typename Node::amount;
  const std::size_t n = node.size();
  amount unknown = 0;
  for (std::size_t i = 0; i < n; ++i) {
    const auto [row, place, a] = node[i];
    const code_t code = codes[row];
    if (code != k_unknown) {
      take(code, place, a);
      continue;
    }
    unknown += a;
    if constexpr (is_exact<amount>) known[place] -= a;
  }
  return unknown;
}

/// A row of cells for every code of a range.
template <class Amount>
struct dense_cells {
  std::span<const Amount> cells;               // by code, then by place
  std::span<const std::uint32_t> value_class;  // where cases may weigh nothing, else empty
  std::size_t n_places;
  code_t lowest;

  std::span<const Amount> row(std::size_t begin) const {
    assert(begin % n_places == 0 && begin < cells.size());
    return cells.subspan(begin, n_places);
  }

  value_group at(std::size_t begin) const {
    for (; begin < cells.size(); begin += n_places) {
      const std::uint32_t only = only_class(begin);
      if (only == k_absent) continue;
      return {begin, begin + n_places, lowest + begin / n_places, only};
    }
    return {begin, begin, 0, k_mixed};
  }
  template <class Search>
  void move(const value_group& value, Search& search) const {
    if (value.only != k_mixed) return search.move(value.only, cells[value.begin + value.only]);
    search.move_all(row(value.begin));
  }
  void add_to(std::span<Amount> known) const {
    for (std::size_t at = 0; at < cells.size(); at += n_places) {
      for (std::size_t i = 0; i < n_places; ++i) known[i] += cells[at + i];
    }
  }

 private:
  std::uint32_t only_class(std::size_t begin) const {
    if constexpr (!is_exact<Amount>) {
      if (!value_class.empty()) return value_class[begin / n_places];
    }
    const std::span<const Amount> amounts = row(begin);
    std::size_t present = 0;
    for (const Amount a : amounts) present += a != 0;
    if (present != 1) return present == 0 ? k_absent : k_mixed;
    const auto first = std::ranges::find_if(amounts, [](Amount a) { return a != 0; });
    return static_cast<std::uint32_t>(first - amounts.begin());
  }
};

/// Cases of known value sorted by code. With ByClass those of a code are sorted by class, and a
/// class's are added up before they move; else each moves by itself, in its order.
template <bool ByClass>
struct sorted_cases {
  std::span<const coded_case> cases;

  value_group at(std::size_t begin) const {
    if (begin == cases.size()) return {begin, begin, 0, k_mixed};
    const coded_case& first = cases[begin];
    std::uint32_t only = first.place;
    std::size_t end = begin + 1;
    for (; end < cases.size() && cases[end].code == first.code; ++end) {
      if (cases[end].place != only) only = k_mixed;
    }
    return {begin, end, first.code, only};
  }
  /// Calls visit(place, weight) for what is added as one.
  template <class Visit>
  void visit_cells(const value_group& value, const Visit& visit) const {
    visit_cells(cases.subspan(value.begin, value.end - value.begin), visit);
  }
  template <class Search>
  void move(const value_group& value, Search& search) const {
    visit_cells(value, [&](std::uint32_t place, double w) { search.move(place, w); });
  }
  void add_to(std::span<double> known) const {
    visit_cells(cases, [&](std::uint32_t place, double w) { known[place] += w; });
  }

 private:
  template <class Visit>
  static void visit_cells(std::span<const coded_case> some, const Visit& visit) {
    if constexpr (!ByClass) {
      for (const coded_case& c : some) visit(c.place, c.weight);
      return;
    }
    for (std::size_t i = 0; i < some.size();) {
      const coded_case& first = some[i++];
      double w = first.weight;
      const auto goes_on = [&first](const coded_case& c) {
        return c.place == first.place && c.code == first.code;
      };
      for (; i < some.size() && goes_on(some[i]); ++i) w += some[i].weight;
      if (w != 0) visit(first.place, w);
    }
  }
};

/// Counted cases of known value as sorted keys (code, place, count), codes counted from `lowest`.
struct sorted_keys {
  std::span<const std::uint64_t> keys;
  code_t lowest;

  static std::uint64_t key_of(code_t code, std::uint32_t place, count_t count) {
    return code << zel::adt::k_key_payload_bits | std::uint64_t{place} << 16 | count;
  }
  static std::uint16_t place_of(std::uint64_t key) { return static_cast<std::uint16_t>(key >> 16); }
  static std::uint16_t count_of(std::uint64_t key) { return static_cast<std::uint16_t>(key); }

  value_group at(std::size_t begin) const {
    if (begin == keys.size()) return {begin, begin, 0, k_mixed};
    const code_t code = keys[begin] >> zel::adt::k_key_payload_bits;
    std::uint32_t only = place_of(keys[begin]);
    std::size_t end = begin + 1;
    for (; end < keys.size() && keys[end] >> zel::adt::k_key_payload_bits == code; ++end) {
      if (place_of(keys[end]) != only) only = k_mixed;
    }
    return {begin, end, lowest + code, only};
  }
  template <class Search>
  void move(const value_group& value, Search& search) const {
    for (const std::uint64_t key : keys.subspan(value.begin, value.end - value.begin)) {
      search.move(place_of(key), count_of(key));
    }
  }
};

/// What else a pass over the cases may do, told each of known value in list order: the number of
/// its code in the range, the place of its class, its amount.
struct nothing_else {
  template <class Amount>
  void operator()(std::size_t, std::uint32_t, Amount) const {}
};

/// The cells of all codes of `range`; s.known has been started. O(cases + codes * classes).
template <class Node, class Codes, class Also>
dense_cells<typename Node::amount> fill_dense(const Node& node, const Codes& codes,
                                              const code_range& range,
                                              scratch<typename Node::amount>& s,
                                              typename Node::amount& unknown, Also also) {
  using amount = typename Node::amount;
  const std::size_t n = node.n_places;
  s.cells.assign((range.second - range.first) * n, 0);
  const auto take = [cells = s.cells.data(), first = range.first, n, also, end = range.second](
                        code_t code, std::uint32_t place, amount a) {
    assert(code >= first && code < end && place < n);
    static_cast<void>(end);
    cells[(code - first) * n + place] += a;
    also(code - first, place, a);
  };
  unknown = take_known(node, codes, s.known.data(), take);
  return {s.cells, s.value_class, n, range.first};
}

/// The cells that occur, of weights, by code and class; s.known has been started. O(cases + codes).
template <class Node, class Codes, class Also>
sorted_cases<true> fill_sparse(const Node& node, const Codes& codes, const code_range& range,
                               scratch<double>& s, double& unknown, Also also) {
  s.sorter.start(node.size());
  const auto take = [&sorter = s.sorter, first = range.first, also](
                        code_t code, std::uint32_t place, double weight) {
    sorter.add(code, place, weight);
    also(code - first, place, weight);
  };
  unknown = take_known(node, codes, s.known.data(), take);
  return {s.sorter.sorted(range, node.n_places)};
}

/// The same of counts, by code.
template <class Codes, class Also>
sorted_keys fill_sparse(const counted_node& node, const Codes& codes, const code_range& range,
                        scratch<count_t>& s, count_t& unknown, Also) {
  std::uint64_t* const first_key = s.sorter.start(node.size()).data();
  std::uint64_t* next = first_key;
  const auto take = [&next, first = range.first](code_t code, std::uint32_t place, count_t count) {
    *next++ = sorted_keys::key_of(code - first, place, count);
  };
  unknown = take_known(node, codes, s.known.data(), take);
  const auto n = static_cast<std::size_t>(next - first_key);
  assert(n <= node.size());
  return {s.sorter.sort(n, range.second - range.first), range.first};
}

}  // namespace orvik::impls::splitting
