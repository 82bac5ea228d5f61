// Subsets of tables: lists of cases, picked, ordered and stratified.
#include <algorithm>
#include <stdexcept>

#include "impls/tables/folds.h"
#include "orvik/run_context.h"
#include "orvik/table.h"
#include "zel/util/run_context.h"

namespace orvik {

namespace {

constexpr char k_no_table[] = "no table provided with the classes";
constexpr char k_no_folds[] = "there must be at least one fold";

const impls::table& required(const table* t) {
  if (t == nullptr) throw std::runtime_error(k_no_table);
  return *t->get_impl();
}

/// The number of folds, which is not 0.
unsigned long folds(unsigned long k) {
  if (k == 0) throw std::runtime_error(k_no_folds);
  return k;
}

/// The position of a case, which there is.
unsigned long position(unsigned long i, const table::subset& cases) {
  if (i < cases.size()) return i;
  throw std::runtime_error("there is no case " + std::to_string(i) + " in a subset of " +
                           std::to_string(cases.size()) + " cases");
}

}  // namespace

table::subset::subset() : subset(new case_list) {}
table::subset::subset(void* cases, zel::util::run_context* run)
    : cases_(static_cast<case_list*>(cases)),
      run_(run == nullptr ? &zel::util::default_context() : run) {}
table::subset::~subset() = default;

void table::subset::use(run_context& run) { run_ = &run.get_impl(); }

unsigned long table::subset::size() const { return cases_->size(); }
void table::subset::resize(unsigned long n) { cases_->resize(n); }
void table::subset::reserve(unsigned long n) { cases_->reserve(n); }

void table::subset::push_back(unsigned long row, double weight) {
  cases_->emplace_back(row, weight);
}

std::pair<unsigned long, double> table::subset::get(unsigned long i) const {
  return (*cases_)[position(i, *this)];
}

void table::subset::set(unsigned long i, unsigned long row, double weight) {
  (*cases_)[position(i, *this)] = {row, weight};
}

unsigned long table::subset::fold_begin(unsigned long k, unsigned long i) const {
  return impls::fold_begin(size(), folds(k), i);
}

unsigned long table::subset::fold_end(unsigned long k, unsigned long i) const {
  return impls::fold_end(size(), folds(k), i);
}

table::subset* table::subset::select(unsigned long start, unsigned long count,
                                     bool complement) const {
  return new subset(cases_->select(start, count, complement), run_);
}

void table::subset::randomize() { cases_->randomize(run_->seeds()); }

void table::subset::sort() {
  std::sort(cases_->begin(), cases_->end(),
            [](const auto& a, const auto& b) { return a.first < b.first; });
}

unsigned long table::subset::stratify_frac(double frac, table* t, bool random) {
  return impls::stratify_frac(*cases_, frac, required(t), random, run_->seeds());
}

unsigned long table::subset::stratify(unsigned long n, table* t, bool random) {
  return impls::stratify(*cases_, n, required(t), random, run_->seeds());
}

unsigned long table::subset::stratify_cross(unsigned long k, table* t, bool random) {
  return impls::stratify_cross(*cases_, folds(k), required(t), random, run_->seeds());
}

}  // namespace orvik
