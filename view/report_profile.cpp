#include "report_profile.h"

#include <algorithm>
#include <cmath>
#include <numeric>

namespace orvik::view {

using orvik::code_t;
using orvik::column_view;
using orvik::row_t;

namespace {

constexpr unsigned long k_most_columns = 300;
constexpr unsigned long k_most_numbers = 100'000;  // of all bins
constexpr unsigned long k_intervals = 20;
constexpr unsigned long k_values = 12;
constexpr double k_outermost = 0.01;
constexpr unsigned long k_no_bin = static_cast<unsigned long>(-1);

bool is_shown(const column_view& c) { return c.is_input() || c.role() == orvik::model::CLASS; }

/// Of which each has a bin.
unsigned long most_values(const column_view& c) { return c.is_numeric() ? k_intervals : k_values; }

class profiler {
 public:
  /// Of some of the rows. `n_parts`: into how many parts a bin is divided, the number of classes
  /// or 1. All must outlive this.
  profiler(const recoded_rows& rows, const std::vector<row_t>& which, unsigned long n_parts)
      : rows_(rows), which_(which), n_parts_(n_parts) {
    for (const row_t row : which) whole_ += rows.weight_of(row);
  }

  column_profile profile(const column_view& c) const;

 private:
  std::vector<double> weights_of(const column_view& c) const;
  std::vector<unsigned long> intervals(const column_view& c, column_profile& of,
                                       const std::vector<double>& weights) const;
  std::vector<unsigned long> frequent_values(const column_view& c, column_profile& of,
                                             const std::vector<double>& weights) const;
  void fill(const column_view& c, const std::vector<unsigned long>& bin_of,
            column_profile& of) const;

  const recoded_rows& rows_;
  const std::vector<row_t>& which_;
  unsigned long n_parts_;
  double whole_ = 0;
};

/// By code.
std::vector<double> profiler::weights_of(const column_view& c) const {
  std::vector<double> weights(c.n_values() + 1);
  for (const row_t row : which_) {
    weights[c.code_in(row)] += rows_.weight_of(row);
  }
  return weights;
}

/// The code at which `share` of the known weight is reached.
code_t quantile(const std::vector<double>& weights, double share) {
  const double known = std::accumulate(weights.begin() + 1, weights.end(), 0.0);
  double sum = 0;
  for (code_t code = 1; code < weights.size(); ++code) {
    sum += weights[code];
    if (sum >= share * known) return code;
  }
  return weights.size() - 1;
}

/// Between the outermost hundredths, which go to the first and the last interval: a few far values
/// would leave all others in one. @return the bin of every code.
std::vector<unsigned long> profiler::intervals(const column_view& c, column_profile& of,
                                               const std::vector<double>& weights) const {
  const code_t low = quantile(weights, k_outermost), high = quantile(weights, 1 - k_outermost);
  of.is_range = true;
  of.from = c.number(low < high ? low : 1);
  of.to = c.number(low < high ? high : c.n_values());
  of.bins.resize(k_intervals);
  std::vector<unsigned long> bin_of(c.n_values() + 1, k_no_bin);
  for (code_t code = 1; code <= c.n_values(); ++code) {
    const double place = (c.number(code) - of.from) / (of.to - of.from) * k_intervals;
    bin_of[code] = static_cast<unsigned long>(std::clamp(place, 0.0, k_intervals - 1.0));
  }
  return bin_of;
}

/// Ordered values stay in their order, others come by their weights.
std::vector<unsigned long> profiler::frequent_values(const column_view& c, column_profile& of,
                                                     const std::vector<double>& weights) const {
  std::vector<code_t> codes(c.n_values());
  std::iota(codes.begin(), codes.end(), code_t{1});
  std::ranges::stable_sort(codes, [&](code_t a, code_t b) { return weights[a] > weights[b]; });
  codes.resize(std::min(of.n_distinct, most_values(c)));
  if (c.is_ordered() || c.is_numeric()) std::ranges::sort(codes);
  std::vector<unsigned long> bin_of(c.n_values() + 1, k_no_bin);
  for (const code_t code : codes) {
    bin_of[code] = of.labels.size();
    of.labels.push_back(c.exact(code));
  }
  of.bins.resize(codes.size());
  return bin_of;
}

void profiler::fill(const column_view& c, const std::vector<unsigned long>& bin_of,
                    column_profile& of) const {
  for (std::vector<double>& bin : of.bins) bin.assign(n_parts_, 0.0);
  for (const row_t row : which_) {
    const code_t code = c.code_in(row);
    if (code == orvik::k_unknown) continue;
    const double weight = rows_.weight_of(row);
    if (bin_of[code] == k_no_bin) {
      of.others += weight;
    } else {
      const code_t class_code = rows_.class_of(row);
      of.bins[bin_of[code]][n_parts_ > 1 && class_code > 0 ? class_code - 1 : 0] += weight;
    }
  }
}

column_profile profiler::profile(const column_view& c) const {
  const std::vector<double> weights = weights_of(c);
  const auto occurs = [](double weight) { return weight > 0; };
  column_profile of{};
  of.column = c.index();
  of.n_distinct =
      static_cast<unsigned long>(std::count_if(weights.begin() + 1, weights.end(), occurs));
  of.unknown = whole_ > 0 ? weights[0] / whole_ : 0;
  const bool range = c.is_numeric() && c.role() == orvik::model::CONTINUOUS &&
                     of.n_distinct > most_values(c) && std::isfinite(c.number(c.n_values()));
  fill(c, range ? intervals(c, of, weights) : frequent_values(c, of, weights), of);
  return of;
}

std::vector<row_t> all_of(const recoded_rows& rows) {
  std::vector<row_t> all(rows.size());
  std::iota(all.begin(), all.end(), row_t{0});
  return all;
}

/// The inner nodes of the greatest weights, at most so many.
std::vector<bool> heaviest(const std::vector<orvik::placed_node>& nodes, std::size_t most) {
  std::vector<std::size_t> inner;
  for (std::size_t i = 0; i < nodes.size(); ++i) {
    if (!nodes[i].node.is_leaf()) inner.push_back(i);
  }
  std::ranges::stable_sort(inner, std::ranges::greater(),
                           [&](std::size_t i) { return nodes[i].node.weight(); });
  std::vector<bool> chosen(nodes.size());
  for (std::size_t i = 0; i < std::min(most, inner.size()); ++i) chosen[inner[i]] = true;
  return chosen;
}

/// The rows that go down each branch of a node; those without a value go down none.
std::vector<std::vector<row_t>> parted(const orvik::tree_node& node, const recoded_rows& rows,
                                       const std::vector<row_t>& which) {
  std::vector<std::vector<row_t>> below(node.n_children());
  const orvik::branch_test first = node.test(0);
  const bool one_value = node.test(1).how == orvik::branch_test::OTHER;
  for (const row_t row : which) {
    const code_t code = rows.code_of(row, node.attribute());
    if (code == orvik::k_unknown) continue;
    const code_t branch = first.how != orvik::branch_test::EQUAL ? code > first.code
                          : one_value                            ? code != first.code
                                                                 : code - 1;
    if (branch < below.size()) below[branch].push_back(row);
  }
  return below;
}

}  // namespace

std::vector<column_profile> profile_of(const orvik::table& rows, const recoded_rows& recoded,
                                       unsigned long n_classes) {
  const orvik::schema_view schema = rows.get_schema();
  std::vector<column_view> shown;
  for (unsigned long i = 0; i < schema.n_columns() && shown.size() < k_most_columns; ++i) {
    if (is_shown(schema.column(i))) shown.push_back(schema.column(i));
  }
  const bool by_class = shown.size() * k_intervals * n_classes <= k_most_numbers;
  const std::vector<row_t> which = all_of(recoded);
  const profiler each(recoded, which, by_class ? n_classes : 1);
  std::vector<column_profile> all;
  all.reserve(shown.size());
  for (const column_view& c : shown) all.push_back(each.profile(c));
  return all;
}

std::vector<node_profile> profiles_of_nodes(const orvik::tree_node& root, const orvik::table& rows,
                                            const recoded_rows& recoded, unsigned long n_classes) {
  const orvik::schema_view schema = rows.get_schema();
  const std::vector<orvik::placed_node> nodes = nodes_of(root);
  const std::vector<bool> chosen = heaviest(nodes, k_most_numbers / (k_intervals * n_classes));
  std::vector<std::vector<row_t>> at(nodes.size());
  std::vector<std::vector<std::vector<row_t>>> below(nodes.size());
  std::vector<node_profile> all;
  at[0] = all_of(recoded);
  for (std::size_t i = 0; i < nodes.size(); ++i) {  // fathers come first
    const auto& [node, father, level] = nodes[i];
    if (father >= 0) at[i] = std::move(below[static_cast<std::size_t>(father)][node.branch()]);
    if (node.is_leaf()) continue;
    if (chosen[i] && !at[i].empty()) {
      const profiler here(recoded, at[i], n_classes);
      all.push_back({i, here.profile(schema.attribute(node.attribute()))});
    }
    below[i] = parted(node, recoded, at[i]);
    at[i] = {};
  }
  return all;
}

}  // namespace orvik::view
