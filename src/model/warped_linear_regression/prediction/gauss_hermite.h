// SPDX-License-Identifier: BSD-3-Clause
//
// Gauss-Hermite quadrature: sum over j of w_j f(x_j) is the integral of exp(-x^2) f(x),
// exact for polynomials of degree below twice the count. G. Golub, J. Welsch, "Calculation
// of Gauss quadrature rules", Math. Comp. 23 (1969).
#pragma once

#include <array>

#include "n_array/n_array_view.h"

namespace corvane::model {

class gauss_hermite_rule {
 public:
  static constexpr index_t largest_count = 50;

  // A count above the largest gives the largest rule. Throws std::invalid_argument on a
  // count below 1.
  explicit gauss_hermite_rule(index_t count);

  index_t count() const { return count_; }
  const_vector_view nodes() const { return {nodes_.data(), count_}; }  // ascending
  const_vector_view weights() const { return {weights_.data(), count_}; }

 private:
  index_t count_;
  std::array<double, largest_count> nodes_{};
  std::array<double, largest_count> weights_{};
};

}  // namespace corvane::model
