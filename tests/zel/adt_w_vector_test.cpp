#include <gtest/gtest.h>

#include <algorithm>
#include <functional>
#include <limits>
#include <map>
#include <memory>
#include <stdexcept>
#include <string>
#include <vector>

#include "zel/adt/stratify_quotas.h"
#include "zel/adt/w_vector.h"
#include "zel/util/seed.h"

namespace zel::adt {
namespace {

using list = w_vector<unsigned long, double>;

// Rows 0 .. n - 1, each with its number as weight.
list rows(unsigned long n) {
  list result;
  for (unsigned long i = 0; i < n; ++i) result.emplace_back(i, static_cast<double>(i));
  return result;
}

std::vector<unsigned long> rows_of(const list& cases) {
  std::vector<unsigned long> result;
  for (const auto& [row, weight] : cases) {
    EXPECT_TRUE(weight == 1.0 || weight == static_cast<double>(row));  // travels with its row
    result.push_back(row);
  }
  return result;
}

std::vector<unsigned long> sorted(std::vector<unsigned long> values) {
  std::sort(values.begin(), values.end());
  return values;
}

using positions = std::vector<unsigned long>;

TEST(w_vector, selects_a_clipped_range_or_all_the_others) {
  struct row {
    unsigned long start, count;
    bool complement;
    positions result;
  };
  constexpr unsigned long k_many = ~0UL;
  const row table[] = {
      {3, 10, false, {3, 4}},
      {1, 2, false, {1, 2}},
      {5, 1, false, {}},
      {9, 1, false, {}},
      {2, k_many, false, {2, 3, 4}},
      {0, 0, true, {0, 1, 2, 3, 4}},
      {1, 2, true, {0, 3, 4}},
      {3, 10, true, {0, 1, 2}},
      {0, 5, true, {}},
      {9, 1, true, {0, 1, 2, 3, 4}},
      {2, k_many, true, {0, 1}},
  };
  const list five = rows(5);
  for (const row& r : table) {
    const std::unique_ptr<list> part(five.select(r.start, r.count, r.complement));
    EXPECT_EQ(rows_of(*part), r.result) << r.start << " " << r.count << " " << r.complement;
  }
}

TEST(w_vector, samples_distinct_rows_in_ascending_order) {
  list all;
  all.push_back_random(10, 0, 4, 1.0);
  EXPECT_EQ(rows_of(all), (positions{0, 1, 2, 3}));

  util::set_seed(3);
  std::map<unsigned long, int> drawn;
  for (int round = 0; round < 200; ++round) {
    list cases;
    cases.push_back_random(5, 100, 20, 1.0);
    const positions sample = rows_of(cases);
    ASSERT_EQ(sample.size(), 5);
    EXPECT_EQ(std::adjacent_find(sample.begin(), sample.end(), std::greater_equal<>()),
              sample.end());
    for (const unsigned long row : sample) ++drawn[row];
  }
  util::clear_seed();
  EXPECT_EQ(drawn.begin()->first, 100);
  EXPECT_EQ(drawn.rbegin()->first, 119);
  for (const auto& [row, n] : drawn) EXPECT_NEAR(n, 50, 35) << row;  // deviation 6.1
  list none;
  none.push_back_random(5, 0, 0, 1.0);
  EXPECT_TRUE(none.empty());
}

TEST(stratify_quotas, give_the_rest_to_the_smallest_quotas_lower_codes_first) {
  struct row {
    positions count;
    double frac;
    unsigned long sample;
    positions quota;
  };
  const row table[] = {
      {{3, 3}, 0.5, 3, {2, 1}},
      {{5, 3, 1}, 0.5, 4, {2, 1, 1}},
      {{7, 3, 3}, 0.5, 6, {3, 2, 1}},
      {{0, 5, 0, 1}, 0.5, 3, {0, 2, 0, 1}},
      {{10}, 0.7, 6, {6}},  // the double nearest to 0.7 lies below it
      {{}, 0.5, 0, {}},
  };
  for (const row& r : table) {
    unsigned long n = 0;
    for (const unsigned long c : r.count) n += c;
    EXPECT_EQ(fraction_of(n, r.frac), r.sample);
    EXPECT_EQ(stratify_quotas(r.count, r.frac, r.sample), r.quota);
  }
}

unsigned long uneven_class(unsigned long row) { return row % 7 == 0 ? 4 : row % 10 < 7 ? 0 : 2; }

TEST(stratify_frac, fills_the_quotas_for_every_fraction_and_class_count) {
  for (const unsigned long n : {0UL, 1UL, 10UL, 97UL}) {
    positions count(5);
    for (unsigned long row = 0; row < n; ++row) ++count[uneven_class(row)];
    for (const double frac : {0.01, 0.25, 0.5, 0.7, 0.99}) {
      for (const bool random : {false, true}) {
        list cases = rows(n);
        const unsigned long t = cases.stratify_frac(frac, uneven_class, random ? 5 : 0, random);
        const positions order = rows_of(cases);
        EXPECT_EQ(t, fraction_of(n, frac));
        EXPECT_EQ(sorted(order), rows_of(rows(n)));
        positions taken(5);
        for (unsigned long i = 0; i < t; ++i) ++taken[uneven_class(order[i])];
        EXPECT_EQ(taken, stratify_quotas(count, frac, t)) << n << " " << frac;
      }
    }
  }
}

}  // namespace
}  // namespace zel::adt
