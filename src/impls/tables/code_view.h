// The codes of a column as its kernels see them: contiguous, of one width, without virtual calls.
#pragma once

#include <cassert>
#include <cstdint>
#include <utility>

#include "impls/types.h"

namespace orvik::impls {

/// The codes of a boolean column: bit b of a row stands for code b + 1.
class bit_codes {
 public:
  explicit bit_codes(const unsigned long* words) : words_(words) {}
  unsigned operator[](row_t row) const { return 1 + ((words_[row >> 6] >> (row & 63)) & 1); }

 private:
  const unsigned long* words_;
};

/// Where the codes lie and how wide one is. Valid until the column grows.
struct code_view {
  const void* data = nullptr;
  unsigned bits = 0;  ///< 0 (no codes), 1, 8, 16, 32 or 64
};

/// Calls f with the codes as an array of their width (something with operator[](row)).
/// A column without codes reads as 0 everywhere: f gets a null array and must not be given rows.
template <class F>
decltype(auto) visit_codes(const code_view& view, F&& f) {
  switch (view.bits) {
    case 1:
      return f(bit_codes(static_cast<const unsigned long*>(view.data)));
    case 8:
      return f(static_cast<const std::uint8_t*>(view.data));
    case 16:
      return f(static_cast<const std::uint16_t*>(view.data));
    case 32:
      return f(static_cast<const std::uint32_t*>(view.data));
    default:
      assert(view.bits == 64 || view.data == nullptr);
      return f(static_cast<const std::uint64_t*>(view.data));
  }
}

/// The same for a class column, whose codes have 8 or 16 bits.
template <class F>
decltype(auto) visit_class_codes(const code_view& view, F&& f) {
  assert(view.bits == 8 || view.bits == 16);
  if (view.bits == 8) return f(static_cast<const std::uint8_t*>(view.data));
  return f(static_cast<const std::uint16_t*>(view.data));
}

}  // namespace orvik::impls
