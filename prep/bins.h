// Classes made of numbers: intervals in their order.
#pragma once

#include <string>
#include <string_view>
#include <vector>

#include "column_profile.h"

namespace orvprep {

/// What the user asks for: so many bins of equal frequency, or cuts.
struct bins_wish {
  unsigned long n = 0;
  std::vector<double> cuts;

  bool any() const { return n > 0 || !cuts.empty(); }
};

/// "4": four bins; "10,20,50" or "10,": cuts.
/// Throws std::runtime_error for what is neither, or not in ascending order.
bins_wish bins_of(std::string_view words);

/// Intervals that cover all numbers. A number equal to a cut is in the bin below it.
struct bins {
  std::vector<double> cuts;  ///< ascending; none: no bins

  bool any() const { return !cuts.empty(); }
  std::size_t bin_of(double value) const;
  /// "<=10", "10-20", ">20", with ".." in place of the hyphen where a cut is below 0.
  std::string name(std::size_t bin) const;
  std::vector<std::string> names() const;
};

/// A distinct number of a column, and the cells that have it.
struct counted_number {
  double value;
  unsigned long count;
};

/// The distinct numbers of a settled column that kept its texts, ascending.
std::vector<counted_number> numbers_of(const column_profile& p);

/// Up to `n` bins with cells as equal in number as may be where equal values stay together. Cuts
/// are values of the column.
bins equal_bins(const std::vector<counted_number>& numbers, unsigned long n);

}  // namespace orvprep
