// A cut that is drawn instead of searched (Geurts, Ernst and Wehenkel, Extremely randomized trees,
// 2006): uniformly between the least and the largest value at the node.
#pragma once

#include <algorithm>
#include <cmath>
#include <limits>

#include "impls/splitting/cut_search.h"
#include "impls/values/o_set.h"
#include "zel/util/quick_gen.h"

namespace orvik::impls::splitting {

/// The last code below the drawn point; `lowest` < `highest` are codes. Where the values are no
/// numbers, or lie further apart than a number says, codes are drawn.
inline code_t draw_cut(const o_set& values, code_t lowest, code_t highest,
                       zel::util::quick_gen& draw) {
  constexpr unsigned long k_steps = 1UL << std::numeric_limits<double>::digits;
  const bool numbers = values.is_numeric() && !values.is_ordered();
  const double least = numbers ? values.get_value_as_double(lowest) : 0;
  const double width = numbers ? values.get_value_as_double(highest) - least : 0;
  if (!(width > 0) || !std::isfinite(width)) return lowest + draw.below(highest - lowest);
  const double point =
      least + width * (static_cast<double>(draw.below(k_steps)) / static_cast<double>(k_steps));
  code_t below = lowest, above = highest;
  while (above - below > 1) {
    const code_t middle = below + (above - below) / 2;
    (values.get_value_as_double(middle) <= point ? below : above) = middle;
  }
  return below;
}

/// O(cases + classes).
template <class Impurity, class Node, class Codes>
splitting_desc measure_random_cut(const Impurity& impurity, const o_set& values, const Codes& codes,
                                  const Node& node, scratch<typename Node::amount>& s,
                                  zel::util::quick_gen& draw) {
  using amount = typename Node::amount;
  node.start_known(s.known);
  code_t lowest = std::numeric_limits<code_t>::max(), highest = 0;
  const auto look = [&](code_t code, std::uint32_t place, amount a) {
    lowest = std::min(lowest, code);
    highest = std::max(highest, code);
    if constexpr (!is_exact<amount>) s.known[place] += a;
  };
  const amount unknown = take_known(node, codes, s.known.data(), look);
  if (highest <= lowest) return {};
  const code_t cut = draw_cut(values, lowest, highest, draw);
  s.left.assign(node.n_places, 0);
  cut_search<Impurity, amount> search(impurity, node, unknown, s.left, s.known, s.cut);
  if (!search.possible()) return {};
  search.begin();
  s.cells.assign(node.n_places, 0);
  for (std::size_t i = 0; i < node.size(); ++i) {
    const auto [row, place, a] = node[i];
    const code_t code = codes[row];
    if (code != k_unknown && code <= cut) s.cells[place] += a;
  }
  search.move_all(s.cells);
  if (search.too_light() || search.ended()) return {};
  search.count_try();
  search.evaluate(cut, cut + 1);
  return search.result();
}

}  // namespace orvik::impls::splitting
