// SPDX-License-Identifier: BSD-3-Clause
//
// power_function: |w|^q with q = alpha^2 + 1, differentiated m times in w and up to twice
// in alpha. With F = q (q-1) ... (q-m+1), its derivatives F' and F'' in q, and L = log |w|:
//   d^m/dw^m                = sign(w)^m F |w|^(q-m)
//   d/dalpha of the above   = sign(w)^m 2 alpha D |w|^(q-m),   D = F' + L F
//   d2/dalpha2 of the above = sign(w)^m 2 (D + 2 alpha^2 (F'' + L F') + 2 alpha^2 L D)
//                             |w|^(q-m)
#pragma once

#include <cmath>

#include "model/linear_linked_regression/smoothing_polynomial.h"

namespace corvane::model {

// The falling factorial q (q-1) ... (q-m+1) with its first two derivatives in q.
struct falling_factorial {
  double value = 1.0;
  double first = 0.0;
  double second = 0.0;
};

constexpr falling_factorial falling_factorial_of(double q, int m) {
  falling_factorial f;
  for (int j = 0; j < m; ++j) {
    // The product rule for one more factor, q - j, whose derivative is 1.
    const double factor = q - j;
    f = {f.value * factor, f.first * factor + f.value, f.second * factor + 2.0 * f.first};
  }
  return f;
}

class power_function {
 public:
  explicit power_function(double alpha) : alpha_{alpha}, exponent_{alpha * alpha + 1.0} {}

  // m-th derivative in w, j-th in alpha
  template <int m, int j>
  double derivative(double w) const {
    static_assert(m >= 0 && m <= 4 && j >= 0 && j <= 2);
    const double sign = m % 2 == 0 ? 1.0 : sign_of(w);
    const double power = std::pow(std::abs(w), exponent_ - m);
    const falling_factorial f = falling_factorial_of(exponent_, m);
    if constexpr (j == 0) {
      return sign * f.value * power;
    } else {
      const double log_size = std::log(std::abs(w));
      const double slope = f.first + log_size * f.value;
      if constexpr (j == 1) return sign * 2.0 * alpha_ * slope * power;
      const double twice_square = 2.0 * alpha_ * alpha_;
      return sign * 2.0 *
             (slope + twice_square * (f.second + log_size * f.first) +
              twice_square * log_size * slope) *
             power;
    }
  }

 private:
  double alpha_;
  double exponent_;
};

}  // namespace corvane::model
