// n log2 n of whole numbers, looked up while n is small.
#pragma once

#include <cmath>
#include <cstddef>
#include <cstdint>
#include <memory>

namespace orvik::impls::splitting {

inline double log2_of(double x) { return x > 0 ? std::log(x) / 0.6931471805599453 : 0.0; }

/// Same bits as computed. Threads: many readers.
class count_logs {
 public:
  static constexpr std::uint32_t k_size = 1U << 15;

  /// The one table of the process, made by the first call.
  static const count_logs& get() {
    static const count_logs table;
    return table;
  }
  double of(std::uint32_t n) const { return n < k_size ? values_[n] : compute(n); }
  /// Of all numbers to `most`, looked up without a question; null where these are too many. A
  /// larger table than the usual one is made where one first asks for it for so much that it pays.
  const double* up_to(std::uint32_t most, std::size_t n_steps) const {
    if (most < k_size) return values_.get();
    return most < k_large_size && n_steps >= k_worth_large ? large() : nullptr;
  }
  /// Of a weight, which is often a whole number.
  double of(double w) const {
    const auto n = static_cast<std::uint32_t>(w >= 0 && w < k_size ? w : 0);
    return static_cast<double>(n) == w ? values_[n] : compute(w);
  }

 private:
  static constexpr std::uint32_t k_large_size = 1U << 17;
  static constexpr std::size_t k_worth_large = 1U << 13;

  count_logs() : values_(below(k_size)) {}
  static std::unique_ptr<double[]> below(std::uint32_t size) {
    auto values = std::make_unique_for_overwrite<double[]>(size);
    for (std::uint32_t n = 0; n < size; ++n) values[n] = compute(n);
    return values;
  }
  static const double* large() {
    static const std::unique_ptr<double[]> values = below(k_large_size);
    return values.get();
  }
  static double compute(double w) { return w * log2_of(w); }

  std::unique_ptr<double[]> values_;
};

}  // namespace orvik::impls::splitting
