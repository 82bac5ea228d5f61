// Where numbers lie among the limits that a model's tests compare with.
#pragma once

#include <cstddef>
#include <cstdint>
#include <span>
#include <string>
#include <string_view>
#include <type_traits>
#include <vector>

#include "impls/types.h"
#include "impls/values/cell_batch.h"
#include "orvik/cells.h"

namespace orvik::impls {

/// Some values of a frozen numeric set. Threads: many readers.
class number_limits {
 public:
  virtual ~number_limits() = default;

  /// Whether reading a number costs no more than looking up its text.
  virtual bool reads_fast() const = 0;

  /// Writes for the cell of every row, at codes[row * stride], a code that compares with the codes
  /// of the limits as its number does with their values; 0 where it is `missing` or the set's own
  /// unknown value. @return false where a cell is no number of the set's type.
  virtual bool place(const cell_batch& cells, std::string_view missing, std::uint32_t* codes,
                     std::size_t stride) const = 0;
  /// The same for n cells in memory from `first` on. Throws std::runtime_error for an infinite one,
  /// with its row.
  virtual void place_cells(const cell_array& cells, unsigned long first, unsigned long n,
                           std::uint32_t* codes, std::size_t stride) const = 0;
};

/// For values that ascend with their codes. A number up to a limit and above the one before takes
/// the limit's code, one above all limits the code behind the last.
template <class T>
class limits_of : public number_limits {
 public:
  using parser = T (*)(std::string_view);

  /// `codes` ascend, each with its value. `parse` throws std::runtime_error for what is no number.
  limits_of(std::span<const code_t> codes, std::vector<T> values, std::string_view unknown,
            parser parse);

  bool reads_fast() const override { return std::is_integral_v<T>; }
  bool place(const cell_batch& cells, std::string_view missing, std::uint32_t* codes,
             std::size_t stride) const override;
  void place_cells(const cell_array& cells, unsigned long first, unsigned long n,
                   std::uint32_t* codes, std::size_t stride) const override;

 private:
  std::uint32_t place_of(T number) const;
  void tabulate();

  std::vector<T> values_;
  std::vector<std::uint32_t> codes_;  // by number of limits below, so one more than values
  std::vector<std::uint32_t>
      table_;  // by integer from the lowest limit on; empty where they scatter
  std::string unknown_;
  parser parse_;
};

}  // namespace orvik::impls
