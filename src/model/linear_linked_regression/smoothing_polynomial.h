// SPDX-License-Identifier: BSD-3-Clause
//
// The polynomial that stands for |w|^q near zero, and its derivatives in w:
//   phi(w) = c0 u^2 + c1 u^4 + c2 |u|^5 + c3 u^6 + c4 |u|^7,   u = w / s
// It is even and its slope at zero is zero: the penalty is smooth through zero. It holds
// for |w| < s, strictly; from s on the power itself stands.
#pragma once

#include <cmath>

#include "n_array/n_array_view.h"

namespace corvane::model {

// By the sign bit: -1 for -0.0.
inline double sign_of(double w) { return std::signbit(w) ? -1.0 : 1.0; }

inline bool is_in_smoothing_zone(double w, double s) { return std::abs(w) < s; }

// The derivative of the given order, 0 to 4, in w; c holds c0 to c4.
template <int order>
double smoothing_polynomial(const_vector_view c, double s, double w) {
  static_assert(order >= 0 && order <= 4);
  const double u = w / s;
  const double size = std::abs(u);
  const double sign = sign_of(w);
  const double u2 = u * u;
  const double u3 = u2 * u;
  const double u4 = u2 * u2;
  if constexpr (order == 0)
    return c[0] * u2 + c[1] * u4 + c[2] * (u4 * size) + c[3] * (u4 * u2) +
           c[4] * (u4 * u2 * size);
  else if constexpr (order == 1)
    return (2.0 * c[0] * u + 4.0 * c[1] * u3 + 5.0 * sign * c[2] * u4 +
            6.0 * c[3] * (u4 * u) + 7.0 * sign * c[4] * (u4 * u2)) /
           s;
  else if constexpr (order == 2)
    return (2.0 * c[0] + 12.0 * c[1] * u2 + 20.0 * c[2] * (u2 * size) + 30.0 * c[3] * u4 +
            42.0 * c[4] * (u4 * size)) /
           s / s;
  else if constexpr (order == 3)
    return (24.0 * c[1] * u + 60.0 * sign * c[2] * u2 + 120.0 * c[3] * u3 +
            210.0 * sign * c[4] * u4) /
           s / s / s;
  else
    return (24.0 * c[1] + 120.0 * c[2] * size + 360.0 * c[3] * u2 +
            840.0 * c[4] * (u2 * size)) /
           s / s / s / s;
}

}  // namespace corvane::model
