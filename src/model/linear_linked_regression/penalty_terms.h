// SPDX-License-Identifier: BSD-3-Clause
//
// The functions of one weight that a strength lambda^2 multiplies:
//   quadratic_term           psi(w) = w^2 / 2
//   smoothed_absolute_value  psi(w) = |w| from the threshold s on, and below it the
//                            polynomial that joins |w| there with four derivatives
#pragma once

#include <array>
#include <cmath>

#include "model/linear_linked_regression/smoothing_basis.h"
#include "model/linear_linked_regression/smoothing_polynomial.h"

namespace corvane::model {

// A term tells its derivatives of order 1 to 4, the zone around zero outside of which
// some of them vanish, and the order of its highest derivative that is not zero everywhere.
class quadratic_term {
 public:
  static constexpr int highest_order = 2;
  static constexpr bool vanishes_outside_zone(int order) { return order > highest_order; }
  static bool is_in_zone(double /*w*/) { return false; }

  // lambda^2 psi(w)
  static double value(double lambda, double w) {
    const double x = lambda * w;
    return 0.5 * (x * x);
  }

  template <int order>
  static double derivative([[maybe_unused]] double w) {
    if constexpr (order == 1)
      return w;
    else
      return order == 2 ? 1.0 : 0.0;
  }
};

class smoothed_absolute_value {
 public:
  static constexpr int highest_order = 4;
  static constexpr bool vanishes_outside_zone(int order) { return order > 1; }

  // With s = 0.0 nothing is smoothed, and the coefficients are NaN.
  explicit smoothed_absolute_value(double s);

  double threshold() const { return threshold_; }
  bool is_in_zone(double w) const { return is_in_smoothing_zone(w, threshold_); }
  const_vector_view coefficients() const {
    return {coefficients_.data(), num_smoothing_coefficients};
  }

  double value(double lambda, double w) const { return lambda * lambda * derivative<0>(w); }

  template <int order>
  double derivative(double w) const {
    if (is_in_zone(w)) return smoothing_polynomial<order>(coefficients(), threshold_, w);
    if constexpr (order == 0)
      return std::abs(w);
    else
      return order == 1 ? sign_of(w) : 0.0;
  }

 private:
  std::array<double, num_smoothing_coefficients> coefficients_;
  double threshold_;
};

}  // namespace corvane::model
