// How many elements of each class a stratified sample takes.
#pragma once

#include <vector>

namespace zel::adt {

/// @return the integer part of n * frac, 0 <= frac <= 1. The product is in extended precision:
/// 10 * 0.7 is 6, as the double nearest to 0.7 lies below it.
unsigned long fraction_of(unsigned long n, long double frac);

/// Quota of every class of which there are count[c] elements: fraction_of(count[c], frac), and
/// one more for the classes with the smallest quotas, the lower code of equals first, until
/// the quotas add up to `sample`. A class without elements gets none.
std::vector<unsigned long> stratify_quotas(const std::vector<unsigned long>& count,
                                           long double frac, unsigned long sample);

}  // namespace zel::adt
