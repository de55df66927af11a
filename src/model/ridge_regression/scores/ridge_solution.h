// SPDX-License-Identifier: BSD-3-Clause
//
// The ridge equations solved at a point t. With M = inverse(D) A inverse(D) = L L' and b =
// X'y,
//   z = inverse(L) inverse(D) b,   w = inverse(L') z = inverse(M) inverse(D) b,
// and inverse(D) w = inverse(A) b are the weights.
#pragma once

#include "model/ridge_regression/factorization/ridge_normal_matrix.h"

namespace corvane::model::ridge_regression_detail {

struct ridge_solution {
  dense_matrix cholesky;  // L, p by p
  dense_vector z;         // p entries
  dense_vector w;         // p entries

  // Room for p coefficients.
  explicit ridge_solution(index_t p) : cholesky{p, p}, z{p}, w{p} {}

  // False when M cannot be factored at t.
  bool solve(const ridge_system& system, const_vector_view t);
};

}  // namespace corvane::model::ridge_regression_detail
