// n log2 n of whole numbers, looked up while n is small.
#pragma once

#include <cmath>
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
  /// Of all numbers below k_size.
  const double* table() const { return values_.get(); }
  /// Of a weight, which is often a whole number.
  double of(double w) const {
    const auto n = static_cast<std::uint32_t>(w >= 0 && w < k_size ? w : 0);
    return static_cast<double>(n) == w ? values_[n] : compute(w);
  }

 private:
  count_logs() : values_(std::make_unique_for_overwrite<double[]>(k_size)) {
    for (std::uint32_t n = 0; n < k_size; ++n) values_[n] = compute(n);
  }
  static double compute(double w) { return w * log2_of(w); }

  std::unique_ptr<double[]> values_;
};

}  // namespace orvik::impls::splitting
