// SPDX-License-Identifier: BSD-3-Clause
#include "model/warped_linear_regression/chebyshev_basis.h"

#include <algorithm>
#include <cmath>
#include <numbers>

namespace corvane::model {

chebyshev_basis::chebyshev_basis() : cardinal_coefficients_(num_points, num_points) {
  constexpr auto m = static_cast<double>(num_points);
  for (index_t j = 0; j < num_points; ++j) {
    const double angle =
        (2.0 * static_cast<double>(j) + 1.0) * std::numbers::pi / (2.0 * m);
    points_[static_cast<std::size_t>(j)] = std::cos(angle);
    cardinal_coefficients_(j, 0) = 1.0 / m;
    for (index_t k = 1; k < num_points; ++k)
      cardinal_coefficients_(j, k) = 2.0 / m * std::cos(static_cast<double>(k) * angle);
  }
}

// T_k+1 = 2 x T_k - T_k-1
void chebyshev_basis::fill_polynomials(const_vector_view x, matrix_block polynomials) {
  const vector_view constant = polynomials.column(0);
  std::fill(constant.begin(), constant.end(), 1.0);
  std::copy(x.begin(), x.end(), polynomials.column(1).begin());
  for (index_t k = 2; k < num_points; ++k) {
    const const_vector_view earlier = polynomials.column(k - 2);
    const const_vector_view last = polynomials.column(k - 1);
    const vector_view next = polynomials.column(k);
    for (index_t i = 0; i < x.size(); ++i) next[i] = 2.0 * x[i] * last[i] - earlier[i];
  }
}

}  // namespace corvane::model
