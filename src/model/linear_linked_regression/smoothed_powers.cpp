// SPDX-License-Identifier: BSD-3-Clause
#include "model/linear_linked_regression/smoothed_powers.h"

namespace corvane::model {

namespace {

// The five conditions at the join, differentiated j times in alpha.
template <int j>
void write_join(const power_function& power, double s, vector_view joined) {
  joined[0] = power.derivative<0, j>(s);
  joined[1] = power.derivative<1, j>(s);
  joined[2] = power.derivative<2, j>(s);
  joined[3] = power.derivative<3, j>(s);
  joined[4] = power.derivative<4, j>(s);
}

// The system does not depend on alpha: its j-th derivative has the same matrix.
template <int j>
matrix_view solve_coefficients(const_vector_view alpha, double s, smoothing_basis basis,
                               scoped_allocator& scratch) {
  const matrix_view coefficients = scratch.matrix(num_smoothing_coefficients, alpha.size());
  for (index_t group = 0; group < alpha.size(); ++group) {
    const vector_view column = coefficients.column(group);
    write_join<j>(power_function{alpha[group]}, s, column);
    basis.solve(s, column);
  }
  return coefficients;
}

}  // namespace

smoothed_powers::smoothed_powers(const_vector_view alpha, double s, smoothing_basis basis,
                                 int highest_alpha_order, scoped_allocator& scratch)
    : alpha_{alpha}, threshold_{s} {
  if (s == 0.0) return;
  coefficients_[0] = solve_coefficients<0>(alpha, s, basis, scratch);
  if (highest_alpha_order >= 1)
    coefficients_[1] = solve_coefficients<1>(alpha, s, basis, scratch);
  if (highest_alpha_order >= 2)
    coefficients_[2] = solve_coefficients<2>(alpha, s, basis, scratch);
}

}  // namespace corvane::model
