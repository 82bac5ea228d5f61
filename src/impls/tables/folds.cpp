#include "impls/tables/folds.h"

#include <cassert>

#include "orvik/strategies.h"
#include "zel/util/errors.h"

namespace orvik::impls {

namespace {

constexpr char k_stratify_range[] = "stratify input must be in [0,size]";

/// From a row to its class. Throws std::runtime_error where the table lacks a row of the cases.
auto class_of(const table& t, const case_list& cases) {
  const column& classes = t.class_column();
  t.check_rows(cases);
  return [&classes](row_t row) { return classes.get_row_index(row); };
}

}  // namespace

unsigned long fold_begin(unsigned long n, unsigned long k, unsigned long i) {
  const unsigned long q = n / k, r = n % k;
  return i < r ? i * (q + 1) : q * (i - r) + r * (q + 1);
}

unsigned long fold_end(unsigned long n, unsigned long k, unsigned long i) {
  const unsigned long q = n / k, r = n % k;
  return i < r ? (i + 1) * (q + 1) : q * (i + 1 - r) + r * (q + 1);
}

unsigned long stratify_frac(case_list& cases, double frac, const table& t, bool random,
                            zel::util::seed_source& seeds) {
  return cases.stratify_frac(frac, class_of(t, cases), t.n_class_codes(), random, seeds);
}

unsigned long stratify(case_list& cases, unsigned long n, const table& t, bool random,
                       zel::util::seed_source& seeds) {
  if (n > cases.size()) zel::util::throw_pointer(k_stratify_range);
  return cases.stratify_sample(n, class_of(t, cases), t.n_class_codes(), random, seeds);
}

case_parts split_by_class(const table& t, const case_list& cases, zel::util::seed_source& seeds) {
  case_list drawn(cases);
  const unsigned long n = stratify_frac(drawn, model::k_growing_share, t, /*random=*/true, seeds);
  if (n == 0 || n == drawn.size()) return {};
  return {std::unique_ptr<case_list>(drawn.select(0, n, false)),
          std::unique_ptr<case_list>(drawn.select(0, n, true))};
}

unsigned long stratify_cross(case_list& cases, unsigned long k, const table& t, bool random,
                             zel::util::seed_source& seeds) {
  std::vector<case_list> buckets(t.n_class_codes());
  const auto class_code = class_of(t, cases);
  for (const auto& c : cases) buckets[class_code(c.first)].push_back(c);

  assert(k > 0);
  const unsigned long n = cases.size();
  unsigned long fold = 0, round = 0;  // shared by all classes: each goes on where the last ended
  for (case_list& bucket : buckets) {
    if (random) bucket.randomize(seeds);
    for (const auto& c : bucket) {
      cases[fold_begin(n, k, fold) + round] = c;
      if (++fold == k) {
        fold = 0;
        ++round;
      }
    }
  }
  assert(round * k + fold == n);  // every place has its case
  return n / k;
}

}  // namespace orvik::impls
