// SPDX-License-Identifier: BSD-3-Clause
//
// Interpolation by polynomials of degree m - 1 at the m Chebyshev points of [-1, 1],
//
//   x_j = cos((2 j + 1) pi / (2 m)),   T_k(x) = cos(k arccos x)
//   l_j(x) = (1 / m) (T_0(x) + 2 sum over k >= 1 of T_k(x_j) T_k(x))
//
// with l_j 1 at x_j and 0 at the other points. The error is that of the best polynomial but
// for a factor below 4, and falls like rho^-m for a function that is analytic inside of the
// ellipse with foci -1 and 1 and semiaxes of sum rho. L. N. Trefethen, "Approximation
// Theory and Approximation Practice", SIAM (2013), chapters 4, 8 and 15.
#pragma once

#include <array>

#include "common/matrix_block.h"
#include "n_array/n_array.h"

namespace corvane::model {

class chebyshev_basis {
 public:
  static constexpr index_t num_points = 24;

  chebyshev_basis();

  double point(index_t j) const { return points_[static_cast<std::size_t>(j)]; }

  // T_k(x_i) in column k, of x in [-1, 1].
  static void fill_polynomials(const_vector_view x, matrix_block polynomials);

  // l_j = sum over k of this (j, k) times T_k.
  const_matrix_view cardinal_coefficients() const { return cardinal_coefficients_; }

 private:
  std::array<double, num_points> points_{};
  dense_matrix cardinal_coefficients_;
};

}  // namespace corvane::model
