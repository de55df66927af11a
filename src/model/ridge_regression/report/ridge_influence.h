// SPDX-License-Identifier: BSD-3-Clause
//
// Leverages, residuals and degrees of freedom of a ridge fit at strengths t^2. With N the
// unpenalized column, A = X1'X1 + diag(t)^2 and H = N N' + X1 inverse(A) X1' (hat matrix),
//   leverage_i = H_ii,   leave-one-out residual_i = residual_i / (1 - H_ii)
// (D. M. Allen, Technometrics 16, 1974), and the trace of H is the effective number of
// parameters, of which column j has 1 - t_j^2 inverse(A)_jj.
#pragma once

#include "model/ridge_regression/common_penalty/common_penalty_design.h"
#include "model/ridge_regression/common_penalty/common_penalty_factors.h"
#include "n_array/n_array.h"

namespace corvane::model::ridge_regression_detail {

struct ridge_influence {
  dense_vector residuals;           // n, y less the fit, normalized
  dense_vector one_minus_leverage;  // n
};

// G, p by r = rank(A), with inverse(A) = G G'. Where A is singular, G G' = inverse(D)
// pinv(C) inverse(D) with C = inverse(D) A inverse(D) and D^2 the diagonal of A.
struct inverse_root {
  dense_matrix columns;
  dense_vector determined;  // p, the diagonal of the projection C pinv(C)
};

// A = R'R + diag(t)^2, R p by p upper triangular. By an orthogonal factorization of R on
// top of diag(t): the condition is not squared.
inverse_root invert_root(const_matrix_block R, const_vector_view t);

// p entries, 1 - t_j^2 inverse(A)_jj.
dense_vector column_dof(const inverse_root& root, const_vector_view t);

// By one pass over the rows. `weights`: those of X1, then that of N.
ridge_influence measure_influence(const common_penalty_design& design,
                                  const inverse_root& root, const_vector_view weights);

// The same from factors of the rows, at one common penalty.
ridge_influence measure_influence(const penalty_rows& rows,
                                  const penalty_spectrum& spectrum, double t);

}  // namespace corvane::model::ridge_regression_detail
