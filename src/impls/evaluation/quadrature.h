// Integrals over [0, 1] by the rule of Gauss and Legendre: n points are exact for polynomials of
// degree below 2 n, and for what is positive on [0, 1] all that is added up is.
#pragma once

#include <cmath>
#include <cstddef>
#include <numbers>
#include <vector>

namespace orvik::impls {

/// Points in (0, 1), their distances to 1, the inverse of these, and their weights, of sum 1.
struct quadrature {
  std::vector<double> at, to_one, inverse_to_one, weights;

  explicit quadrature(std::size_t n) : at(n), to_one(n), inverse_to_one(n), weights(n) {
    for (std::size_t i = 0; i < (n + 1) / 2; ++i) {
      const auto [x, slope] = root_of_legendre(n, i);
      at[n - 1 - i] = to_one[i] = (1 + x) / 2;
      at[i] = to_one[n - 1 - i] = (1 - x) / 2;
      weights[i] = weights[n - 1 - i] = 1 / ((1 - x * x) * slope * slope);
    }
    for (std::size_t i = 0; i < n; ++i) inverse_to_one[i] = 1 / to_one[i];
  }
  std::size_t size() const { return at.size(); }

 private:
  struct root {
    double x, slope;
  };

  /// The slope there is not that at x itself before the last step, which moves it by an ulp or two.
  static root root_of_legendre(std::size_t n, std::size_t i) {
    constexpr int k_steps = 100;  // five do
    const auto degree = static_cast<double>(n);
    double x = std::cos(std::numbers::pi * (static_cast<double>(i) + 0.75) / (degree + 0.5));
    double slope = 1;
    for (int step = 0; step < k_steps; ++step) {
      double value = x, before = 1;
      for (std::size_t k = 2; k <= n; ++k) {
        const auto order = static_cast<double>(k);
        const double next = ((2 * order - 1) * x * value - (order - 1) * before) / order;
        before = value;
        value = next;
      }
      slope = degree * (x * value - before) / (x * x - 1);
      const double move = value / slope;
      x -= move;
      if (std::abs(move) < 1e-15) break;
    }
    return {x, slope};
  }
};

}  // namespace orvik::impls
