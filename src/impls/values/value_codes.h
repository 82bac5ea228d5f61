// Dictionary from numbers to dense codes 1, 2, 3, ... in order of first appearance.
//
// Open addressing with linear probing, at most half full. No value is a not-a-number or -0, so
// equal bytes are equal values.
// Threads: many readers or one writer.
#pragma once

#include <bit>
#include <cassert>
#include <cstdint>
#include <cstring>
#include <type_traits>
#include <vector>

#include "zel/text/hash.h"

namespace orvik::impls {

/// T is an integer or floating type.
template <class T>
class value_codes {
 public:
  using code = std::uint32_t;

  /// The values, by code - 1.
  const std::vector<T>& values() const { return values_; }

  /// @return the code of `value`, a new one if it was never inserted.
  code insert(T value) {
    if (2 * values_.size() >= slots_.size()) grow();
    slot& s = slots_[probe(value)];
    if (s.number == 0) {
      values_.push_back(value);
      s = {value, static_cast<code>(values_.size())};
    }
    return s.number;
  }

 private:
  struct slot {
    T value{};
    code number = 0;  // 0 marks a free slot
  };

  static std::uint64_t bits_of(T value) {
    if constexpr (std::is_integral_v<T>) {
      return static_cast<std::uint64_t>(value);
    } else if constexpr (sizeof(T) == sizeof(std::uint32_t)) {
      return std::bit_cast<std::uint32_t>(value);
    } else if constexpr (sizeof(T) == sizeof(std::uint64_t)) {
      return std::bit_cast<std::uint64_t>(value);
    } else {
      std::uint64_t mantissa;  // an extended value has 64 bits of it, then sign and exponent
      std::uint16_t exponent;
      std::memcpy(&mantissa, &value, sizeof mantissa);
      std::memcpy(&exponent, reinterpret_cast<const char*>(&value) + sizeof mantissa,
                  sizeof exponent);
      return mantissa ^ (static_cast<std::uint64_t>(exponent) << 32);
    }
  }

  std::size_t probe(T value) const {
    assert(std::has_single_bit(slots_.size()) && values_.size() < slots_.size());
    const zel::text::hash_secret& secret = *secret_;
    const std::size_t mask = slots_.size() - 1;
    std::size_t i = zel::text::hash_mix(bits_of(value) ^ secret.a, secret.b) & mask;
    while (slots_[i].number != 0 && slots_[i].value != value) i = (i + 1) & mask;
    return i;
  }

  void grow() {
    std::vector<slot> old(slots_.empty() ? 64 : slots_.size() * 2);
    old.swap(slots_);
    for (const slot& s : old) {
      if (s.number != 0) slots_[probe(s.value)] = s;
    }
  }

  const zel::text::hash_secret* secret_ = &zel::text::process_secret();
  std::vector<slot> slots_;
  std::vector<T> values_;
};

}  // namespace orvik::impls
