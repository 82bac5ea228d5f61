// The search for the best cut of counted cases of few classes, which most nodes of a tree have.
//
// The counts on the left stay in registers, the sum of every step is taken, and whether the step is
// a cut at all is a number: no jump hangs on the data but the one to a better cut. What is found is
// what best_cut() finds: that weighs fewer cuts, none between two values of one and the same class,
// so a best cut of that kind is left to it.
#pragma once

#include <algorithm>
#include <array>
#include <cstddef>
#include <cstdint>
#include <optional>

#include "impls/splitting/cells.h"
#include "impls/splitting/cut_search.h"

namespace orvik::impls::splitting {

/// Counts of K classes, by place.
template <std::size_t K>
using narrow_counts = std::array<count_t, K>;

/// The steps of a search in dense cells: a row each, which may be empty.
template <std::size_t K>
struct narrow_rows {
  const dense_cells<count_t>& cells;

  std::size_t size() const { return cells.cells.size() / K; }
  /// Adds what step `i` moves. @return how much that is.
  count_t move(std::size_t i, narrow_counts<K>& left) const {
    const count_t* const row = cells.cells.data() + i * K;
    count_t moved = 0;
    for (std::size_t p = 0; p < K; ++p) {
      left[p] += row[p];
      moved += row[p];
    }
    return moved;
  }
  /// Whether a value ends with step `i`, which moved so much; of the last one either is right.
  bool ends_value(std::size_t, count_t moved) const { return moved != 0; }
  value_group value_at(std::size_t i) const { return cells.at(i * K); }
};

/// In sorted keys: a key each.
template <std::size_t K>
struct narrow_keys {
  const sorted_keys& cells;

  std::size_t size() const { return std::max<std::size_t>(cells.keys.size(), 1) - 1; }
  count_t move(std::size_t i, narrow_counts<K>& left) const {
    const std::uint64_t key = cells.keys[i];
    const count_t place = sorted_keys::place_of(key), count = sorted_keys::count_of(key);
    for (std::size_t p = 0; p < K; ++p) left[p] += place == p ? count : 0;
    return count;
  }
  bool ends_value(std::size_t i, count_t) const {
    return (cells.keys[i] ^ cells.keys[i + 1]) >> zel::adt::k_key_payload_bits != 0;
  }
  value_group value_at(std::size_t i) const {
    while (i > 0 && !ends_value(i - 1, 0)) --i;
    return cells.at(i);
  }
};

template <std::size_t K>
narrow_rows<K> narrow_steps(const dense_cells<count_t>& cells) {
  return {cells};
}
template <std::size_t K>
narrow_keys<K> narrow_steps(const sorted_keys& cells) {
  return {cells};
}

/// Weighs the cuts that steps of K classes end with; `known` by place, `table` of the
/// impurity. @return the step before the best one, or as many as there are.
template <std::size_t K, class Impurity, class Steps>
std::size_t best_step(const double* table, const Steps steps, const narrow_counts<K> known,
                      cut_search<Impurity, count_t>& search) {
  const std::size_t n = steps.size();
  const auto [first, last] = search.window();
  if (last < first) return n;
  narrow_counts<K> left{};
  count_t left_sum = 0;
  std::size_t best = n;
  unsigned long tries = 0;
  for (std::size_t i = 0; i < n && left_sum <= last; ++i) {
    const count_t moved = steps.move(i, left);
    left_sum += moved;
    const bool is_cut = steps.ends_value(i, moved) & (left_sum - first <= last - first);
    tries += is_cut;
    const double sum = Impurity::of_both(table, left, left_sum, known, search.known());
    if ((is_cut & (sum < search.least_sum())) && search.take(sum, left_sum)) best = i;
  }
  search.count_tries(tries);
  return best;
}

/// The best cut of cells of K classes. Nothing where best_cut() is to be asked.
template <std::size_t K, class Impurity, class Layout>
std::optional<splitting_desc> narrow_cut(const Impurity& impurity, const Layout& cells,
                                         const node_facts<count_t>& node, count_t unknown,
                                         scratch<count_t>& s) {
  const auto steps = narrow_steps<K>(cells);
  const double* const table = impurity.table_to(node.total, steps.size());
  if (table == nullptr) return std::nullopt;
  cut_search<Impurity, count_t> search(impurity, node, unknown, s.left, s.known, s.cut);
  if (!search.possible()) return splitting_desc{};
  search.begin();
  narrow_counts<K> known;
  std::ranges::copy(s.known, known.begin());
  const std::size_t best = best_step<K>(table, steps, known, search);
  if (best == steps.size()) return search.result();
  const value_group value = steps.value_at(best);
  const value_group next = cells.at(value.end);
  if (value.only != k_mixed && value.only == next.only) return std::nullopt;
  search.name_best(value.code, next.code);
  return search.result();
}

/// The same where there are few classes.
template <class Impurity, class Layout>
std::optional<splitting_desc> cut_of_few(const Impurity& impurity, const Layout& cells,
                                         const node_facts<count_t>& node, count_t unknown,
                                         scratch<count_t>& s) {
  switch (node.n_places) {
    case 2:
      return narrow_cut<2>(impurity, cells, node, unknown, s);
    case 3:
      return narrow_cut<3>(impurity, cells, node, unknown, s);
    case 4:
      return narrow_cut<4>(impurity, cells, node, unknown, s);
    default:
      return std::nullopt;
  }
}

}  // namespace orvik::impls::splitting
