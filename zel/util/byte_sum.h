// A sum of bytes that shows whether they are still as they were.
#pragma once

#include <array>
#include <bit>
#include <cassert>
#include <cstddef>
#include <cstdint>
#include <cstring>
#include <string_view>

namespace zel::util {

/// Changes of one word of 8 bytes always show, others but for a chance of 1 in 2^64 or so; it is
/// no protection against those who want to deceive. As fast as memory: eight sums side by side.
class byte_sum {
 public:
  static constexpr std::size_t k_step = 64;

  /// All calls but the last add whole steps.
  void add(std::string_view bytes) {
    assert(size_ % k_step == 0);
    size_ += bytes.size();
    for (; bytes.size() >= k_step; bytes.remove_prefix(k_step)) add_step(bytes.data());
    if (bytes.empty()) return;
    std::array<char, k_step> rest{};
    std::memcpy(rest.data(), bytes.data(), bytes.size());
    add_step(rest.data());
  }

  std::uint64_t value() const {
    std::uint64_t sum = size_;
    for (const std::uint64_t lane : lanes_) sum = mixed(sum, lane);
    return sum;
  }

 private:
  static std::uint64_t mixed(std::uint64_t sum, std::uint64_t word) {
    return std::rotl(sum ^ word, 29) * 0x9E3779B97F4A7C15ULL;  // odd: nothing is lost
  }

  void add_step(const char* from) {
    for (std::size_t i = 0; i < lanes_.size(); ++i) {
      std::uint64_t word;
      std::memcpy(&word, from + i * sizeof word, sizeof word);
      lanes_[i] = mixed(lanes_[i], word);
    }
  }

  std::array<std::uint64_t, 8> lanes_{};
  std::size_t size_ = 0;
};

/// Of all these bytes.
inline std::uint64_t byte_sum_of(std::string_view bytes) {
  byte_sum sum;
  sum.add(bytes);
  return sum.value();
}

}  // namespace zel::util
