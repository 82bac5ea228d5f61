// Small codes side by side: how processes tell one another of cases.
//
// Of n different codes each takes as few bits as the largest does, the lowest bits first. Of three
// it would take two bits: these go five a byte, as digits of base 3, the first the lowest.
#pragma once

#include <bit>
#include <cstdint>
#include <cstring>
#include <string>

#include "impls/types.h"

namespace orvik::impls::growing {

/// Behind the last code, for reading bits.
constexpr std::size_t k_room_behind_codes = sizeof(std::uint64_t);

constexpr unsigned int k_digits = 5;  // of base 3, in a byte

constexpr unsigned int bits_of_codes(std::size_t n_codes) {
  return static_cast<unsigned int>(std::bit_width(n_codes - 1));
}

/// Bytes of `n` codes, each one of `n_codes`.
constexpr std::size_t packed_bytes(std::size_t n, std::size_t n_codes) {
  if (n_codes == 3) return (n + k_digits - 1) / k_digits;
  return (n * bits_of_codes(n_codes) + 7) / 8;
}

/// Appends codes below `n_codes`, which has at most 32 bits.
class code_writer {
 public:
  code_writer(std::string& to, std::size_t n_codes)
      : to_(to), bits_(n_codes == 3 ? 0 : bits_of_codes(n_codes)) {}

  void write(std::uint64_t code) {
    if (bits_ == 0) return write_digit(static_cast<unsigned int>(code));
    word_ |= code << filled_;
    filled_ += bits_;
    if (filled_ < k_half) return;
    to_.append(reinterpret_cast<const char*>(&word_), sizeof(std::uint32_t));
    word_ >>= k_half;
    filled_ -= k_half;
  }
  /// Writes what is left.
  void end() {
    if (bits_ != 0) to_.append(reinterpret_cast<const char*>(&word_), (filled_ + 7) / 8);
    if (bits_ == 0 && filled_ > 0) to_.push_back(static_cast<char>(word_));
  }

 private:
  static constexpr unsigned int k_half = 32;  // bits: codes have no more
  static constexpr unsigned int k_worth[k_digits] = {1, 3, 9, 27, 81};

  void write_digit(unsigned int digit) {
    word_ += std::uint64_t{digit} * k_worth[filled_];
    if (++filled_ < k_digits) return;
    to_.push_back(static_cast<char>(word_));
    word_ = filled_ = 0;
  }

  std::string& to_;
  unsigned int bits_;  // 0: digits
  std::uint64_t word_ = 0;
  unsigned int filled_ = 0;  // bits or digits
};

/// Reads them one after the other; k_room_behind_codes must follow the last. `first` is added to
/// each.
class told_codes {
 public:
  told_codes(const char* at, std::size_t n_codes, std::uint32_t first)
      : at_(at), bits_(n_codes == 3 ? 0 : bits_of_codes(n_codes)), first_(first) {}

  /// That of the next case, whatever its row.
  std::uint32_t operator[](row_t) const { return first_ + (bits_ == 0 ? digit() : bits()); }

 private:
  std::uint32_t bits() const {
    std::uint64_t word = 0;
    std::memcpy(&word, at_ + next_ / 8, sizeof word);
    const std::uint64_t code = word >> next_ % 8 & ((std::uint64_t{1} << bits_) - 1);
    next_ += bits_;
    return static_cast<std::uint32_t>(code);
  }
  std::uint32_t digit() const {
    if (next_++ % k_digits == 0) digits_ = static_cast<unsigned char>(*at_++);
    const std::uint32_t lowest = digits_ % 3;
    digits_ /= 3;
    return lowest;
  }

  mutable const char* at_;
  unsigned int bits_;  // 0: digits
  std::uint32_t first_;
  mutable std::size_t next_ = 0;      // bit or digit
  mutable std::uint32_t digits_ = 0;  // left of a byte
};

}  // namespace orvik::impls::growing
