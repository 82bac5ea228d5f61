// Slow and obvious twins of the split measures: the definitions with maps for matrices. Their sums
// run in the same order as those of the measures, so the two agree to the last bit.
#pragma once

#include <algorithm>
#include <cmath>
#include <map>
#include <set>
#include <vector>

#include "impls/tables/column.h"

namespace orvik::impls {

using desc_t = column::splitting_desc;

/// A case as a measure sees it.
struct seen_case {
  code_t code, class_code;
  double weight;
};

/// One call of a measure. The row of a case is its position.
struct measured {
  std::vector<seen_case> cases;
  code_range range;
  double min_weight;
  unsigned long n_classes;
  bool free = false;  // a cut pays nothing for the choice, a branch needs no share
  double weight = 0;  // of the cases, as their node has it; 0: their sum

  double total() const {
    if (weight > 0) return weight;
    double sum = 0;
    for (const seen_case& c : cases) sum += c.weight;
    return sum;
  }
  /// A range so wide that the continuous measure sorts. In one of no more than half as many codes
  /// as cases it counts.
  code_range wide_range() const { return {range.first, range.second + cases.size() + 1}; }
};

using weights_t = std::map<code_t, double>;

inline double twin_log2(double x) { return x > 0 ? std::log(x) / 0.6931471805599453 : 0; }

inline double twin_info(const weights_t& weights) {
  double sum = 0, logs = 0;
  for (const auto& [key, w] : weights) sum += w;
  for (const auto& [key, w] : weights) logs += w * twin_log2(w);
  return sum * twin_log2(sum) - logs;
}

inline desc_t twin_discrete(const measured& m) {
  double unknown = 0;
  weights_t totals;
  std::map<code_t, weights_t> branches;
  for (const seen_case& c : m.cases) {
    if (c.code == 0) {
      unknown += c.weight;
    } else {
      branches[c.code][c.class_code] += c.weight;
      totals[c.class_code] += c.weight;
    }
  }
  const double known = m.total() - unknown;
  if (known == 0) return {};
  weights_t sizes{{0, unknown}};
  double infos = 0;
  int large = 0;
  for (const auto& [code, kinds] : branches) {
    for (const auto& [kind, w] : kinds) sizes[code] += w;
    large += sizes[code] >= m.min_weight;
    infos += twin_info(kinds);
  }
  if (large < 2) return {};
  return {0, 0, (known / (unknown + known)) * (twin_info(totals) / known - infos / known),
          twin_info(sizes) / m.total()};
}

/// One value against all others.
inline desc_t twin_one_value(const measured& m) {
  double unknown = 0, best_own = 0;
  weights_t totals;
  std::map<code_t, weights_t> values;
  for (const seen_case& c : m.cases) {
    (c.code == 0 ? unknown : values[c.code][c.class_code]) += c.weight;
  }
  for (const auto& [code, kinds] : values) {
    for (const auto& [kind, w] : kinds) totals[kind] += w;
  }
  const double known = m.total() - unknown, base = twin_info(totals) / known;
  desc_t best;
  for (const auto& [code, kinds] : values) {
    weights_t others = totals;
    double own = 0;
    for (const auto& [kind, w] : kinds) {
      own += w;
      others[kind] = std::max(others[kind] - w, 0.0);
    }
    if (own < m.min_weight || known - own < m.min_weight || !(known - own > 0)) continue;
    const double gain =
        (known / m.total()) * (base - (twin_info(kinds) + twin_info(others)) / known);
    if (!(gain > best.gain)) continue;
    best = {code, code, gain, 0};
    best_own = own;
  }
  if (best.left_code == 0) return {};
  const weights_t sizes{{0, unknown}, {1, best_own}, {2, known - best_own}};
  return {best.left_code, best.right_code, best.gain, twin_info(sizes) / m.total()};
}

/// `moves` are the known cases in ascending order of code, those of a code that are moved at once
/// as one.
inline desc_t twin_continuous(const measured& m, double unknown,
                              const std::vector<seen_case>& moves) {
  const double known = m.total() - unknown;
  weights_t left, right;
  for (const seen_case& c : moves) right[c.class_code] += c.weight;
  if (moves.empty() || 2 * m.min_weight > known) return {};
  const double share = 0.1 * known / static_cast<double>(m.n_classes);
  const double min_split = m.free || m.min_weight >= share ? m.min_weight : std::min(25.0, share);
  const double base = twin_info(right) / known;
  code_t reference = moves[0].class_code;
  std::set<code_t> since;  // classes of the cases since the reference point
  double left_weight = 0, best_left = 0, tries = 0;
  desc_t best;
  for (std::size_t i = 0; i + 1 < moves.size(); ++i) {
    const auto& [code, kind, weight] = moves[i];
    right[kind] -= weight;
    left[kind] += weight;
    left_weight += weight;
    since.insert(kind);
    const code_t next = moves[i + 1].code;
    if (next == code || left_weight < min_split) continue;
    if (left_weight > known - min_split) break;
    ++tries;
    std::set<code_t> seen = since;
    for (const seen_case& c : moves) {
      if (c.code == next) seen.insert(c.class_code);
    }
    if (seen == std::set<code_t>{reference}) continue;
    reference = moves[i + 1].class_code;
    since.clear();
    const double gain =
        (known / (unknown + known)) * (base - (twin_info(left) + twin_info(right)) / known);
    if (!(gain > best.gain)) continue;
    best = {code, next, gain, 0};
    best_left = left_weight;
  }
  const double penalty = m.free ? 0 : twin_log2(tries) / m.total();
  if (penalty >= best.gain) return {};
  const weights_t sizes{{0, unknown}, {1, best_left}, {2, known - best_left}};
  return {best.left_code, best.right_code, best.gain - penalty, twin_info(sizes) / m.total()};
}

inline desc_t twin_sorted(const measured& m) {
  double unknown = 0;
  std::vector<seen_case> known;
  for (const seen_case& c : m.cases) {
    c.code == 0 ? void(unknown += c.weight) : known.push_back(c);
  }
  std::stable_sort(known.begin(), known.end(),
                   [](const auto& a, const auto& b) { return a.code < b.code; });
  return twin_continuous(m, unknown, known);
}

inline desc_t twin_counted(const measured& m) {
  double unknown = 0;
  std::map<std::pair<code_t, code_t>, double> cells;
  for (const seen_case& c : m.cases) {
    (c.code == 0 ? unknown : cells[{c.code, c.class_code}]) += c.weight;
  }
  std::vector<seen_case> moves;
  for (const auto& [at, weight] : cells) moves.push_back({at.first, at.second, weight});
  return twin_continuous(m, unknown, moves);
}

}  // namespace orvik::impls
