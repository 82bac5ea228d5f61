#include <algorithm>

#include "impls/tables/folds.h"
#include "orvik/table.h"

namespace orvik {

table::subset::subset() : cases_(std::make_unique<case_list>()) {}
table::subset::subset(void* cases) : cases_(static_cast<case_list*>(cases)) {}
table::subset::~subset() = default;

unsigned long table::subset::size() const { return cases_->size(); }
void table::subset::resize(unsigned long n) { cases_->resize(n); }
void table::subset::reserve(unsigned long n) { cases_->reserve(n); }

void table::subset::push_back(unsigned long row, double weight) {
  cases_->emplace_back(row, weight);
}

std::pair<unsigned long, double> table::subset::get(unsigned long i) const { return (*cases_)[i]; }

void table::subset::set(unsigned long i, unsigned long row, double weight) {
  (*cases_)[i] = {row, weight};
}

unsigned long table::subset::fold_begin(unsigned long k, unsigned long i) const {
  return impls::fold_begin(size(), k, i);
}

unsigned long table::subset::fold_end(unsigned long k, unsigned long i) const {
  return impls::fold_end(size(), k, i);
}

table::subset* table::subset::select(unsigned long start, unsigned long count,
                                     bool complement) const {
  return new subset(cases_->select(start, count, complement));
}

void table::subset::randomize() { cases_->randomize(); }

void table::subset::sort() {
  std::sort(cases_->begin(), cases_->end(),
            [](const auto& a, const auto& b) { return a.first < b.first; });
}

unsigned long table::subset::stratify_frac(double frac, table* t, bool random) {
  return impls::stratify_frac(*cases_, frac, *t->get_impl(), random);
}

unsigned long table::subset::stratify(unsigned long n, table* t, bool random) {
  return impls::stratify(*cases_, n, *t->get_impl(), random);
}

unsigned long table::subset::stratify_cross(unsigned long k, table* t, bool random) {
  return impls::stratify_cross(*cases_, k, *t->get_impl(), random);
}

}  // namespace orvik
