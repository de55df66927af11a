// SPDX-License-Identifier: BSD-3-Clause
//
// The ridge equations solved at a point t, which an objective keeps from the evaluation of
// the value to that of the derivatives: the optimizer asks for these at the point of its
// last value. With M = inverse(D) A inverse(D) = L L' and b = X'y,
//   z = inverse(L) inverse(D) b,   w = inverse(L') z = inverse(M) inverse(D) b,
// and inverse(D) w = inverse(A) b are the weights.
#pragma once

#include "model/ridge_regression/factorization/ridge_normal_matrix.h"

namespace corvane::model::ridge_regression_detail {

class solved_point {
 public:
  // Of a problem with p coefficients; solved nowhere.
  explicit solved_point(index_t p);

  // False, and solved nowhere, when M cannot be factored at t.
  bool solve(const ridge_system& system, const_vector_view t);
  // The same point to the last bit; a NaN is nowhere.
  bool is_at(const_vector_view t) const;

  const_vector_view t() const { return t_.view().part(0, penalized_); }  // q entries
  const_matrix_block cholesky() const { return cholesky_; }              // L, p by p
  const_vector_view z() const { return z_; }                             // p entries
  const_vector_view w() const { return w_; }                             // p entries

 private:
  bool solved_ = false;
  index_t penalized_ = 0;
  dense_vector t_;
  dense_matrix cholesky_;
  dense_vector z_;
  dense_vector w_;
};

}  // namespace corvane::model::ridge_regression_detail
