// A range [0, n) cut into blocks of one size, of which the last may be shorter.
#pragma once

#include <algorithm>
#include <cassert>
#include <cstddef>

namespace zel::util {

class blocks {
 public:
  struct block {
    std::size_t first, size;
  };

  /// `size` is not 0.
  blocks(std::size_t n, std::size_t size) : n_(n), size_(size) { assert(size > 0); }
  /// So many blocks.
  static blocks among(std::size_t n, std::size_t n_takers) {
    return {n, std::max<std::size_t>(n / n_takers + (n % n_takers != 0), 1)};
  }

  std::size_t count() const { return n_ / size_ + (n_ % size_ != 0); }
  /// Empty from the last one on.
  block operator[](std::size_t i) const {
    const std::size_t first = std::min(i * size_, n_);
    return {first, std::min(size_, n_ - first)};
  }

 private:
  std::size_t n_, size_;
};

}  // namespace zel::util
