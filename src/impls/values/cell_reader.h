// Reading cells in memory, of whatever type.
#pragma once

#include <cmath>
#include <cstdint>
#include <cstring>
#include <limits>
#include <stdexcept>
#include <string>
#include <type_traits>
#include <utility>

#include "orvik/cells.h"

namespace orvik::impls {

/// Cells of the type S.
template <class S>
class cell_reader {
 public:
  using value_type = S;
  explicit cell_reader(const cell_array& cells)
      : first_(static_cast<const char*>(cells.first)), step_(cells.step) {}
  S operator[](unsigned long i) const {
    S value;
    std::memcpy(&value, first_ + static_cast<long>(i) * step_, sizeof value);
    return value;
  }

 private:
  const char* first_;
  long step_;
};

/// Calls f with the reader of the cells; not where they are of no type.
template <class F>
void visit_cells(const cell_array& cells, const F& f) {
  switch (cells.of) {
    case cell_array::NONE:
      return;
    case cell_array::INT8:
      return f(cell_reader<std::int8_t>(cells));
    case cell_array::INT16:
      return f(cell_reader<std::int16_t>(cells));
    case cell_array::INT32:
      return f(cell_reader<std::int32_t>(cells));
    case cell_array::INT64:
      return f(cell_reader<std::int64_t>(cells));
    case cell_array::UINT8:
      return f(cell_reader<std::uint8_t>(cells));
    case cell_array::UINT16:
      return f(cell_reader<std::uint16_t>(cells));
    case cell_array::UINT32:
      return f(cell_reader<std::uint32_t>(cells));
    case cell_array::UINT64:
      return f(cell_reader<std::uint64_t>(cells));
    case cell_array::FLOAT:
      return f(cell_reader<float>(cells));
    case cell_array::DOUBLE:
      return f(cell_reader<double>(cells));
    case cell_array::LONG_DOUBLE:
      return f(cell_reader<long double>(cells));
  }
}

inline bool is_marked_unknown(const cell_array& cells, unsigned long i) {
  return cells.unknown != nullptr && cells.unknown[static_cast<long>(i) * cells.unknown_step] != 0;
}

template <class S>
bool is_nan(S value) {
  if constexpr (std::is_floating_point_v<S>) return std::isnan(value);
  return false;
}

template <class S>
bool is_infinite(S value) {
  if constexpr (std::is_floating_point_v<S>) return std::isinf(value);
  return false;
}

/// The least number of an integer type T that is not below the value, or its largest; of a floating
/// type the nearest one. Integer types have 32 bits.
template <class T, class S>
T number_not_below(S value) {
  using limits = std::numeric_limits<T>;
  if constexpr (std::is_floating_point_v<T>) {
    return static_cast<T>(value) + T{0};  // -0 is 0
  } else if constexpr (std::is_integral_v<S>) {
    if (std::cmp_less(value, limits::lowest())) return limits::lowest();
    return std::cmp_greater(value, limits::max()) ? limits::max() : static_cast<T>(value);
  } else {
    if (value <= static_cast<S>(limits::lowest())) return limits::lowest();
    if (value >= static_cast<S>(limits::max())) return limits::max();
    const auto whole = static_cast<std::int64_t>(value);  // towards 0
    return static_cast<T>(whole + (static_cast<S>(whole) < value ? 1 : 0));
  }
}

[[noreturn]] inline void fail_infinite(unsigned long row) {
  throw std::runtime_error("an infinite number (row " + std::to_string(row + 1) + ")");
}

/// Throws std::runtime_error, with its row, where one of n cells from `first` on is infinite.
inline void require_finite(const cell_array& cells, unsigned long first, unsigned long n) {
  visit_cells(cells, [&]<class S>(const cell_reader<S>& reader) {
    if constexpr (std::is_floating_point_v<S>) {
      for (unsigned long i = first; i < first + n; ++i) {
        if (is_infinite(reader[i]) && !is_marked_unknown(cells, i)) fail_infinite(i);
      }
    }
  });
}

}  // namespace orvik::impls
