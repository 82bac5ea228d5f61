#include "impls/evaluation/flat_tree.h"

#include <algorithm>
#include <array>
#include <cstdint>
#include <stdexcept>

#include "impls/trees/distribution.h"

namespace orvik::impls {

namespace {

constexpr char k_no_value[] = "a code without a value in ";
constexpr char k_wide_codes[] = "too many distinct values in column ";
constexpr char k_to_predict[] = " to predict with";
constexpr char k_many_attributes[] = "too many attributes to predict with";

constexpr unsigned long k_max_attributes = 1UL << 30;

}  // namespace

void flat_tree::require_narrow(const table& t) {
  for (unsigned long a = 0; a < t.n_attributes(); ++a) {
    if (t.column_of(a).code_bits() <= 32) continue;
    throw std::runtime_error(k_wide_codes + t.column_of(a).name() + k_to_predict);
  }
  if (t.n_attributes() >= k_max_attributes) throw std::runtime_error(k_many_attributes);
}

void flat_tree::add_limits(std::vector<std::vector<code_t>>& by_attribute) const {
  for (const test& t : tests_) {
    if (t.first == 0) by_attribute[t.attribute].push_back(t.span);
  }
}

void flat_tree::note_attributes(std::vector<bool>& asked) const {
  for (const test& t : tests_) asked[t.attribute] = true;
}

void flat_tree::renumber(std::span<const std::uint32_t> places) {
  for (test& t : tests_) t.attribute = places[t.attribute];
}

template <bool IsComplete>
void flat_tree::descend(group& cases, std::size_t n) const {
  struct traveller {
    std::uint32_t slot;
    place at;
  };
  std::array<traveller, k_at_once> on_way;
  std::size_t left = (root_ & k_leaf) != 0 ? 0 : n;
  for (std::uint32_t slot = 0; slot < n; ++slot) {
    on_way[slot] = {slot, root_};
    cases.ends[slot] = root_;
  }
  while (left > 0) {  // one step in turn; those on their way close up
    std::size_t still = 0;
    for (std::size_t k = 0; k < left; ++k) {
      traveller c = on_way[k];
      c.at = below<IsComplete>(c.at, cases.codes[c.slot]);
      cases.ends[c.slot] = c.at;
      on_way[still] = c;
      still += (c.at & k_marks) == 0;
    }
    left = still;
  }
}

template void flat_tree::descend<true>(group&, std::size_t) const;
template void flat_tree::descend<false>(group&, std::size_t) const;

case_numbers all_cases(std::size_t n) {
  thread_local std::vector<std::uint32_t> numbers;
  while (numbers.size() < n) numbers.push_back(static_cast<std::uint32_t>(numbers.size()));
  return {{}, {numbers.data(), n}};
}

/// Adds the shares of a leaf. Classes without a share would add nothing.
void flat_tree::distribute(const leaf& reached, double weight, std::span<double> sums) const {
  if ((reached.known & k_above) != 0) {
    // As the class's share of all: weight x w / w is not always the weight to the last bit.
    sums[reached.predicted] += part_of(weight, reached.weight, reached.weight);
  } else {
    add_parts(known_[reached.known], weight, sums);
  }
}

void flat_tree::add_parts(const known_shares& from, double weight, std::span<double> sums) const {
  for (const share& s : std::span(shares_).subspan(from.first_share, from.n_shares)) {
    sums[s.class_code] += part_of(weight, s.weight, from.weight);
  }
}

void flat_tree::distribute_known(const leaf& reached, double weight, std::span<double> sums) const {
  const bool is_empty = reached.known != k_none && (reached.known & k_above) != 0;
  if (!is_empty && (prior_.empty() || reached.known == k_none)) {
    return distribute(reached, weight, sums);
  }
  const known_shares& from = known_[reached.known & ~k_above];
  prior_.empty() ? add_parts(from, weight, sums) : add_leaning(from, weight, sums);
}

void flat_tree::add_leaning(const known_shares& from, double weight, std::span<double> sums) const {
  for (const share& s : std::span(shares_).subspan(from.first_share, from.n_shares)) {
    sums[s.class_code] += part_of(weight, s.weight, from.weight + 1);
  }
  add_prior(weight, from.weight, prior_, sums);
}

double flat_tree::add_up(std::span<const part> parts, std::span<double> sums) const {
  for (const part& p : parts) distribute(leaf_at(p.at), p.weight, sums);
  return depths_of(parts);
}

double flat_tree::depths_of(std::span<const part> parts) const {
  double depths = 0;
  for (const part& p : parts) depths += leaf_at(p.at).depth * p.weight;
  return depths;
}

namespace {

void gather_column(const code_view& view, std::span<const case_list::value_type> cases,
                   std::size_t n_attributes, std::uint32_t* to) {
  if (view.bits == 0) return;
  visit_codes(view, [&](const auto& column_codes) {
    for (const auto& [row, weight] : cases) {
      *to = static_cast<std::uint32_t>(column_codes[row]);
      to += n_attributes;
    }
  });
}

}  // namespace

void gather_codes(const table& t, std::span<const case_list::value_type> cases,
                  std::vector<std::uint32_t>& codes) {
  const std::size_t n = t.n_attributes();
  codes.assign(cases.size() * n, 0);
  for (std::size_t a = 0; a < n; ++a) {
    gather_column(t.column_of(a).codes(), cases, n, codes.data() + a);
  }
}

void gather_checked_codes(const table& t, std::span<const unsigned long> attributes,
                          std::span<const case_list::value_type> cases,
                          std::vector<std::uint32_t>& codes) {
  const std::size_t n = t.n_attributes();
  codes.assign(cases.size() * n, 0);
  for (const unsigned long a : attributes) {
    const column& read = t.column_of(a);
    gather_column(read.unchecked_codes(), cases, n, codes.data() + a);
    std::uint32_t highest = 0;
    for (std::size_t i = a; i < codes.size(); i += n) highest = std::max(highest, codes[i]);
    if (highest > read.values()->size_of_known())
      throw std::runtime_error(k_no_value + read.name());
  }
}

}  // namespace orvik::impls
