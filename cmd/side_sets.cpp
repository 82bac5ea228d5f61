#include "side_sets.h"

#include <algorithm>
#include <stdexcept>

namespace orvcmd {

namespace {

constexpr char k_many_folds[] = "Cross validation <n> must not exceed the number of rows";

}  // namespace

side_sets split_classes(orvik::table* t, orvik::table::subset& cases, double fraction,
                        bool random) {
  using subset_ptr = std::unique_ptr<orvik::table::subset>;
  const unsigned long n = cases.stratify_frac(fraction, t, random);
  return {subset_ptr(cases.select(0, n, false)), subset_ptr(cases.select(0, n, true))};
}

void require_rows_for_folds(const orvik::table& t, const options& opt) {
  if (static_cast<unsigned long>(opt.cv_folds) > t.get_no_rows()) {
    throw std::runtime_error(k_many_folds);
  }
}

std::unique_ptr<orvik::table::subset> stratified_folds(orvik::table* t, const options& opt) {
  require_rows_for_folds(*t, opt);
  std::unique_ptr<orvik::table::subset> all(t->get_wsubset_all());
  all->stratify_cross(static_cast<unsigned long>(opt.cv_folds), t, true);
  return all;
}

fold_parts take_fold(orvik::table::subset& all, unsigned long k, unsigned long i) {
  const unsigned long begin = all.fold_begin(k, i);
  const unsigned long length = all.fold_end(k, i) - begin;
  fold_parts parts;
  parts.test.reset(all.select(begin, length, false));
  parts.train.reset(all.select(begin, length, true));
  return parts;
}

unsigned long items_of(const std::string& list) {
  return list.empty() ? 0 : 1 + static_cast<unsigned long>(std::ranges::count(list, ','));
}

}  // namespace orvcmd
