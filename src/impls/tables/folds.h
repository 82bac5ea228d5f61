// Stratified parts and folds of a case list, by the class column of its table.
#pragma once

#include <memory>

#include "impls/tables/table.h"
#include "impls/types.h"

namespace orvik::impls {

// Stratifying throws std::runtime_error for a case whose row the table does not have, and for a
// table without a class.

/// Where fold i of k begins in a list of n cases: the first n mod k folds hold one case more.
/// k > 0.
unsigned long fold_begin(unsigned long n, unsigned long k, unsigned long i);
unsigned long fold_end(unsigned long n, unsigned long k, unsigned long i);

/// Orders the cases so that the first ones are a sample of share `frac`, stratified by class.
/// @return the size of the sample.
unsigned long stratify_frac(case_list& cases, double frac, const table& t, bool random,
                            zel::util::seed_source& seeds = zel::util::default_seeds());

/// The same for a sample of n cases. Throws a pointer to a std::runtime_error when there are
/// fewer.
unsigned long stratify(case_list& cases, unsigned long n, const table& t, bool random,
                       zel::util::seed_source& seeds = zel::util::default_seeds());

struct case_parts {
  std::unique_ptr<case_list> first, rest;
};

/// Seven tenths of the cases, drawn from each class, and the others; null both where one would be
/// empty.
case_parts split_by_class(const table& t, const case_list& cases, zel::util::seed_source& seeds);

/// Orders the cases so that each of the k folds has the classes in even shares, dealing them out
/// class by class. k > 0. @return n / k.
unsigned long stratify_cross(case_list& cases, unsigned long k, const table& t, bool random,
                             zel::util::seed_source& seeds = zel::util::default_seeds());

}  // namespace orvik::impls
