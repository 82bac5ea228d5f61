// What a search for attributes did.
#pragma once

namespace orvik {

struct feature_search {
  double error = 0;                  ///< of the set found, on the search cases
  double start_error = 0;            ///< of the set that the search began with
  unsigned long trees_grown = 0;     ///< trees whose tests were chosen
  unsigned long trees_avoided = 0;   ///< subsets, or families of them, ruled out without a tree
  unsigned long trees_distinct = 0;  ///< different trees; of a search without a bound only
  unsigned long case_visits = 0;     ///< looks at a case, for an attribute or down a split
  double subsets_covered = 0;        ///< subsets whose error is known or bounded
  bool ended = true;                 ///< false: stopped at its limit, so nothing is proven
};

}  // namespace orvik
