// SPDX-License-Identifier: BSD-3-Clause
//
// The linear algebra that the ridge scores share. With q penalized columns of p,
//   D = diag(t_0, ..., t_(q-1), 1, ..., 1),   E = diag(1, ..., 1, 0, ..., 0),
//   A = X'X + D E D                    the ridge normal matrix,
//   M = inverse(D) A inverse(D) = B'B + E,   B = R inverse(D),   X = Q R.
// M is what is factored: the unit on its diagonal does not depend on the size of t.
#pragma once

#include "common/interruption.h"
#include "common/matrix_block.h"
#include "common/qr_factorization.h"
#include "n_array/n_array.h"

namespace corvane::model::ridge_regression_detail {

// The data as the normal equations need them.
struct ridge_system {
  dense_matrix triangle;     // R, p by p, with zeros below the diagonal
  dense_vector correlation;  // b = X'y, p entries
};

// X = Q R, packed as geqrf leaves it.
struct design_factorization {
  dense_matrix packed;  // n by p
  dense_vector tau;     // min(n, p) entries

  qr_factorization record() const;
  // R, p by p. With n < p the rows that R does not have are zeros.
  dense_matrix triangle() const;
};

// A design that is moved in is factored in place. With an interruption, by panels of
// columns, with a check before each panel: the result is the same to rounding.
design_factorization factor_design(dense_matrix&& design,
                                   interruption* interruption = nullptr);
design_factorization factor_design(const_matrix_view design);

// b = X'y
dense_vector correlate(const_matrix_view design, const_vector_view target);

// inverse(D) x, in place
void divide_entries(const_vector_view t, vector_view x);

// to = from inverse(D), and in place when both are the same block
void divide_columns(const_vector_view t, const_matrix_block from, matrix_block to);

// The lower triangle of `cholesky` becomes L of M = B'B + E = L L'; the rest of it is not
// specified. B is upper triangular with zeros below its diagonal. False when M is not
// numerically positive definite, and when it is not finite.
bool factor_normal_matrix(const_matrix_block B, index_t penalized, matrix_block cholesky);
bool factor_normal_matrix(const ridge_system& system, const_vector_view t,
                          matrix_block cholesky);

// Factors M as above, and z = inverse(L) inverse(D) b, p entries.
bool solve_forward(const ridge_system& system, const_vector_view t, matrix_block cholesky,
                   vector_view z);

// weights = inverse(A) b. False when M is not positive definite.
bool solve_ridge_weights(const ridge_system& system, const_vector_view t,
                         vector_view weights);

}  // namespace corvane::model::ridge_regression_detail
