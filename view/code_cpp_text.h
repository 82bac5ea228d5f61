// What every C++ source of a model has in common, in the order in which it stands there.
#pragma once

namespace orvik::view {

/// How to use it, and the includes.
inline constexpr char k_head[] = R"source(//
// C++17, needs the standard library only. Fill in a row and ask:
//
//   classifier::row values;
//   values.NAME_ = ...;                        // a field left alone is an unknown value
//   std::string c = classifier::predict(values);
//   classifier::prediction p = classifier::classify(values);  // also how sure it is
//   std::vector<double> s = classifier::shares(values);       // of every class of class_names
//
// Texts that training did not have count as unknown. Compiled with -DORVIK_MAIN it is a program:
// rows of the data on standard input, a line "class,confidence" each on standard output; its
// argument is the separator. Where several models meet, define ORVIK_NAMESPACE before each.
#include <algorithm>
#include <array>
#include <cmath>
#include <cstdlib>
#include <optional>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

#ifndef ORVIK_NAMESPACE
#define ORVIK_NAMESPACE classifier
#endif

namespace ORVIK_NAMESPACE {

using namespace std::string_view_literals;

)source";

inline constexpr char k_types[] = R"source(
struct prediction {
  std::string class_name;
  double confidence;  // the class's share: of the leaf, of what reaches leaves, or of the votes
};

namespace detail {

// The children of a node stand side by side, `first` is the first of them; of a leaf its first
// share. Codes up to `limit` go to the first child of a cut; of a leaf it is the class.
struct node {
  int column;  // -1: a leaf
  int limit;
  int first;
  int n;  // children or shares
  double weight;
};
struct share {
  int class_code;
  double weight;
};

)source";

inline constexpr char k_codes[] = R"source(
// 0 for an unknown value, else 1 + the number of cuts below it.
template <class T, std::size_t N>
int cut_code(const std::optional<T>& value, const std::array<T, N>& cuts) {
  if (!value || *value != *value) return 0;
  return 1 + static_cast<int>(std::lower_bound(cuts.begin(), cuts.end(), *value) - cuts.begin());
}

// The place of a value among ascending ones, from 1; else that of unknown values.
template <class T, class V, std::size_t N>
int value_code(const std::optional<T>& value, const std::array<V, N>& values, int unknown = 0) {
  if (!value) return unknown;
  const auto at = std::lower_bound(values.begin(), values.end(), V(*value));
  return at == values.end() || *at != *value ? unknown : 1 + static_cast<int>(at - values.begin());
}

// The same among values in an order of their own.
template <class T, class V, std::size_t N>
int listed_code(const std::optional<T>& value, const std::array<V, N>& values, int unknown = 0) {
  if (!value) return unknown;
  const auto at = std::find(values.begin(), values.end(), V(*value));
  return at == values.end() ? unknown : 1 + static_cast<int>(at - values.begin());
}

template <std::size_t N>
int ordered_cut_code(int place, const std::array<int, N>& cuts) {
  return place == 0 ? 0 : cut_code(std::optional<int>(place), cuts);
}

)source";

inline constexpr char k_descend[] = R"source(
// The leaf below a node, or the node whose test the row has no value for.
inline int descend(int at, const codes& of) {
  while (nodes[at].column >= 0) {
    const int code = of[nodes[at].column];
    if (code == 0) break;
    const int limit = nodes[at].limit;  // of a cut; of one value its place, negative
    at = nodes[at].first + (limit > 0 ? code > limit : limit < 0 ? code != -limit : code - 1);
  }
  return at;
}

)source";

inline constexpr char k_leaf[] =
    R"source(// A leaf without training cases decides for its class; what is likely there are the shares of the
// nearest node above that has some, which it holds.
enum class purpose { decide, shares };

inline void add_leaf(const node& leaf, double part, purpose to, std::vector<double>& sums) {
  if (to == purpose::decide && !(leaf.weight > 0)) {
    sums[leaf.limit] += part;
    return;
  }
  for (int i = leaf.first; i < leaf.first + leaf.n; ++i) {
    const share& s = leaf_shares[i];
    sums[s.class_code] += leaf.weight > 0 ? part * s.weight / leaf.weight : part * s.weight;
  }
}
)source";

/// In its place, of a model whose leaves lean on prior shares.
inline constexpr char k_leaning_leaf[] =
    R"source(// Shares lean on prior ones: of a class that has w of the weight n of a leaf they are
// (w + prior) / (n + 1). A leaf without training cases decides for its class; its shares are those
// of the nearest node above that has some, whose weight is its first share.
enum class purpose { decide, shares };

inline void add_leaf(const node& leaf, double part, purpose to, std::vector<double>& sums) {
  const bool leans = to == purpose::shares;
  if (!(leaf.weight > 0) && (!leans || leaf.n == 1)) {
    sums[leaf.limit] += part;
    return;
  }
  int i = leaf.first;
  const double whole = (leaf.weight > 0 ? leaf.weight : leaf_shares[i++].weight) + (leans ? 1 : 0);
  for (; i < leaf.first + leaf.n; ++i) {
    sums[leaf_shares[i].class_code] += part * leaf_shares[i].weight / whole;
  }
  for (std::size_t c = 0; leans && c < prior.size(); ++c) sums[c] += part * prior[c] / whole;
}
)source";

inline constexpr char k_descent[] = R"source(
// Shares a row out among the leaves: without a value it goes down every branch, in proportion to
// the training weight there.
inline void spread(int from, const codes& of, purpose to, std::vector<double>& sums,
                   double amount = 1.0) {
  std::vector<std::pair<int, double>> open{{from, amount}};
  while (!open.empty()) {
    const double part = open.back().second;
    const node& end = nodes[descend(open.back().first, of)];
    open.pop_back();
    if (end.column < 0) {
      add_leaf(end, part, to, sums);
      continue;
    }
    for (int i = end.n; i-- > 0;) {
      const double below = part * nodes[end.first + i].weight / end.weight;
      if (below != 0) open.emplace_back(end.first + i, below);
    }
  }
}

template <class T>
int first_largest(const std::vector<T>& values) {
  return static_cast<int>(std::max_element(values.begin(), values.end()) - values.begin());
}

// The class code of one tree and its confidence.
inline std::pair<int, double> ask(int root, const codes& of) {
  const int end = descend(root, of);
  if (nodes[end].column >= 0) {
    std::vector<double> sums(class_names.size());
    spread(end, of, purpose::decide, sums);
    const int best = first_largest(sums);
    return {best, sums[best]};
  }
  const node& leaf = nodes[end];
  if (!(leaf.weight > 0)) return {leaf.limit, 1.0};
  for (int i = leaf.first; i < leaf.first + leaf.n; ++i) {
    if (leaf_shares[i].class_code == leaf.limit)
      return {leaf.limit, leaf_shares[i].weight / leaf.weight};
  }
  return {leaf.limit, 0.0};
}

}  // namespace detail

namespace detail {

inline double all_votes() {
  double all = 0;
  for (const double votes : tree_votes) all += votes;
  return all;
}

}  // namespace detail

)source";

inline constexpr char k_classify[] = R"source(inline prediction classify(const row& values) {
  const detail::codes of = detail::codes_of(values);
  if (!detail::votes) {
    const auto [code, confidence] = detail::ask(detail::roots[0], of);
    return {std::string(class_names[code]), confidence};
  }
  std::vector<double> votes(class_names.size());
  for (std::size_t i = 0; i < detail::roots.size(); ++i) {
    const int root = detail::roots[i];
    const double amount = detail::tree_votes[i];
    if (detail::averages) {
      detail::spread(root, of, detail::purpose::decide, votes, amount);
    } else {
      votes[detail::ask(root, of).first] += amount;
    }
  }
  const int best = detail::first_largest(votes);
  return {std::string(class_names[best]), votes[best] / detail::all_votes()};
}

)source";

inline constexpr char k_predict[] =
    R"source(inline std::string predict(const row& values) { return classify(values).class_name; }

)source";

/// The shares; of a calibrated model those before that, under another name.
inline constexpr char k_shares[] =
    R"source(// By class of class_names, the unknown class first; the mean over the trees.
inline std::vector<double> )source";

inline constexpr char k_shares_body[] = R"source((const row& values) {
  const detail::codes of = detail::codes_of(values);
  std::vector<double> sums(class_names.size());
  const auto to = detail::votes && detail::averages ? detail::purpose::decide
                                                    : detail::purpose::shares;
  for (std::size_t i = 0; i < detail::roots.size(); ++i) {
    detail::spread(detail::roots[i], of, to, sums, detail::tree_votes[i]);
  }
  for (double& sum : sums) sum /= detail::all_votes();
  return sums;
}

)source";

/// Between k_descent and k_classify, of a model whose leaves lean on prior shares.
inline constexpr char k_leaning_descent[] = R"source(namespace detail {

inline std::pair<int, double> ask_by_shares(int root, const codes& of) {
  std::vector<double> sums(class_names.size());
  spread(root, of, purpose::shares, sums);
  const int best = first_largest(sums);
  return {best, sums[best]};
}

}  // namespace detail

)source";

/// What shares are worth as probabilities, behind the tables of knots and maps; and the answers.
inline constexpr char k_calibration[] = R"source(
inline double mapped(const map& by, double share) {
  if (by.n == 0) {
    const double at = by.a * share + by.b;
    return at >= 0 ? std::exp(-at) / (1 + std::exp(-at)) : 1 / (1 + std::exp(at));
  }
  const knot* const begin = knots + by.first;
  const knot* const end = begin + by.n;
  const knot* const above = std::upper_bound(
      begin, end, share, [](double found, const knot& k) { return found < k.share; });
  if (above == begin) return begin->value;
  if (above == end) return end[-1].value;
  const double part = (share - above[-1].share) / (above->share - above[-1].share);
  return std::min(above[-1].value + part * (above->value - above[-1].value), above->value);
}

// Of two classes one map decides. Of more what the maps give is divided by its sum; where all give
// 0 the shares stay as they are.
inline void calibrate(std::vector<double>& shares) {
  if (shares.size() == 3) {
    shares[2] = mapped(maps[0], shares[2]);
    shares[1] = 1 - shares[2];
    shares[0] = 0;
    return;
  }
  double sum = 0;
  for (std::size_t c = 1; c < shares.size(); ++c) sum += mapped(maps[c - 1], shares[c]);
  if (!(sum > 0)) return;
  shares[0] = 0;
  for (std::size_t c = 1; c < shares.size(); ++c) shares[c] = mapped(maps[c - 1], shares[c]) / sum;
}

}  // namespace detail

// By class of class_names, the unknown class first: calibrated ones.
inline std::vector<double> shares(const row& values) {
  std::vector<double> all = plain_shares(values);
  detail::calibrate(all);
  return all;
}

inline prediction classify(const row& values) {
  const std::vector<double> all = shares(values);
  const int best = detail::first_largest(all);
  return {std::string(class_names[best]), all[best]};
}

)source";

inline constexpr char k_knots[] = R"source(namespace detail {

// Of a map its knots, ascending: it is linear between them. Or it is 1 / (1 + exp(a share + b)).
struct knot {
  double share, value;
};
struct map {
  int first, n;
  double a, b;
};
)source";

inline constexpr char k_values[] = R"source(}  // namespace ORVIK_NAMESPACE

#ifdef ORVIK_MAIN
#include <cstdio>
#include <iostream>
#include <stdexcept>
#include <type_traits>

namespace ORVIK_NAMESPACE::detail {

template <class T>
T value_of(const std::string& text) {
  if constexpr (std::is_same_v<T, std::string>) {
    return text;
  } else {
    char* end = nullptr;
    long double wide = 0;
    T value = 0;
    if constexpr (std::is_same_v<T, float>) {
      wide = value = std::strtof(text.c_str(), &end);
    } else if constexpr (std::is_same_v<T, double>) {
      wide = value = std::strtod(text.c_str(), &end);
    } else if constexpr (std::is_same_v<T, long double>) {
      wide = value = std::strtold(text.c_str(), &end);
    } else {
      wide = static_cast<long double>(std::strtoll(text.c_str(), &end, 10));
      value = static_cast<T>(wide);
    }
    if (end == text.c_str() || *end != 0 || !std::isfinite(wide) || wide != value) {
      throw std::runtime_error(text + ": not a number of its column");
    }
    return value;
  }
}

)source";

/// Between k_descent and k_classify, of a model that decides by costs.
inline constexpr char k_costs_descent[] = R"source(namespace detail {

// The known class of the least expected cost, the first of equals: sums that differ by their
// rounding are equal.
inline int cheapest(const std::vector<double>& shares) {
  const int n = static_cast<int>(class_names.size());
  std::vector<double> sums(n);
  bool some = false;
  for (int actual = 1; actual < n; ++actual) {
    if (shares[actual] == 0) continue;
    some = true;
    for (int p = 1; p < n; ++p) sums[p] += shares[actual] * costs[actual * n + p];
  }
  if (!some) return 0;
  const double least = *std::min_element(sums.begin() + 1, sums.end());
  int best = 1;
  while (best < n && !(sums[best] <= least * (1 + 1e-9))) ++best;
  return best < n ? best : 0;
}

inline std::pair<int, double> ask_by_costs(int root, const codes& of) {
  std::vector<double> sums(class_names.size());
  spread(root, of, purpose::shares, sums);
  const int best = cheapest(sums);
  return {best, sums[best]};
}

}  // namespace detail

)source";

inline constexpr char k_main[] = R"source(
inline std::vector<std::string> fields_of(const std::string& line, char separator) {
  std::vector<std::string> fields;
  for (std::size_t from = 0;;) {
    const std::size_t to = std::min(line.find(separator, from), line.size());
    std::string field = line.substr(from, to - from);
    field.erase(0, std::min(field.find_first_not_of(' '), field.size()));
    field.erase(field.find_last_not_of(' ') + 1);
    fields.push_back(std::move(field));
    if (to == line.size()) return fields;
    from = to + 1;
  }
}

// The row may lack the class, or the class and the weight.
inline row row_of(const std::string& line, char separator) {
  const std::vector<std::string> fields = fields_of(line, separator);
  const bool has_class = fields.size() == n_columns;
  const bool has_weight = fields.size() + 1 >= n_columns;
  if (fields.size() > n_columns ||
      (!has_weight && (!has_weights || fields.size() + 2 < n_columns))) {
    throw std::runtime_error("bad row: " + line);
  }
  row values;
  std::size_t at = 0;
  for (int column = 0; column < static_cast<int>(n_columns); ++column) {
    if ((column == class_column && !has_class) || (column == weights_column && !has_weight))
      continue;
    const std::string& text = fields[at++];
    if (text != unknown) set_field(values, column, text);
  }
  return values;
}

}  // namespace ORVIK_NAMESPACE::detail

int main(int argc, char** argv) {
  const char separator = argc > 1 ? argv[1][0] : ',';
  try {
    for (std::string line; std::getline(std::cin, line);) {
      if (!line.empty() && line.back() == '\r') line.pop_back();
      const ORVIK_NAMESPACE::prediction p =
          ORVIK_NAMESPACE::classify(ORVIK_NAMESPACE::detail::row_of(line, separator));
      std::printf("%s%c%g\n", p.class_name.c_str(), separator, p.confidence);
    }
  } catch (const std::exception& error) {
    std::fprintf(stderr, "%s\n", error.what());
    return 1;
  }
}
#endif
#undef ORVIK_NAMESPACE
)source";

}  // namespace orvik::view
