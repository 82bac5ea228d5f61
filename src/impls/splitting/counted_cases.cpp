#include "impls/splitting/counted_cases.h"

#include <algorithm>
#include <cassert>

namespace orvik::impls {

namespace {

constexpr std::uint32_t k_largest_count = std::numeric_limits<std::uint16_t>::max();

bool ascending(const case_list& cases) {
  return std::ranges::adjacent_find(
             cases, [](const auto& a, const auto& b) { return a.first >= b.first; }) == cases.end();
}

}  // namespace

std::vector<counted_case> counted_in_order(const case_list& cases, const code_view& classes) {
  std::vector<counted_case> entries;
  entries.reserve(cases.size());
  visit_class_codes(classes, [&](const auto* class_of) {
    for (const auto& [row, weight] : cases) {
      entries.push_back({static_cast<std::uint32_t>(row), class_of[row], 1});
    }
  });
  return entries;
}

std::vector<counted_case> counted_by_row(const case_list& cases, const code_view& classes,
                                         unsigned long n_rows) {
  assert(countable(cases));
  if (ascending(cases)) return counted_in_order(cases, classes);
  std::vector<std::uint32_t> counts(n_rows);
  std::size_t n = 0;
  for (const auto& [row, weight] : cases) n += counts[row]++ % k_largest_count == 0;
  std::vector<counted_case> entries;
  entries.reserve(n);
  visit_class_codes(classes, [&](const auto* class_of) {
    for (std::uint32_t row = 0; row < n_rows; ++row) {
      while (counts[row] > 0) {
        const std::uint32_t count = std::min(counts[row], k_largest_count);
        entries.push_back({row, class_of[row], static_cast<std::uint16_t>(count)});
        counts[row] -= count;
      }
    }
  });
  return entries;
}

}  // namespace orvik::impls
