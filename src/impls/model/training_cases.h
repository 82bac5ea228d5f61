// The cases a tree was grown on, kept by its model so that it can be pruned again.
#pragma once

#include <cassert>
#include <cstdint>
#include <vector>

#include "impls/types.h"

namespace orvik::impls {

/// A case list in few bytes: 4 a case while rows fit in 32 bits and all weights are 1.0, else up
/// to 16.
class training_cases {
 public:
  training_cases() = default;
  explicit training_cases(const case_list& cases);

  bool empty() const { return size() == 0; }
  unsigned long size() const { return narrow_rows_.size() + wide_rows_.size(); }
  /// The i-th of the list.
  case_list::value_type operator[](unsigned long i) const {
    assert(i < size());
    return {narrow_rows_.empty() ? wide_rows_[i] : narrow_rows_[i],
            weights_.empty() ? 1.0 : weights_[i]};
  }
  /// The list as it was given.
  case_list expand() const;

 private:
  std::vector<std::uint32_t> narrow_rows_;  // one of the two holds the rows
  std::vector<row_t> wide_rows_;
  std::vector<double> weights_;  // empty: all 1.0
};

}  // namespace orvik::impls
