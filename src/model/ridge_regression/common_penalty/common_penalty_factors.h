// SPDX-License-Identifier: BSD-3-Clause
//
// common_penalty_factors: the data as a ridge fit with one common penalty t^2 needs them.
// With N an orthonormal basis of the columns without penalty and (I - N N') X1 = U diag(s)
// V', the hat matrix is
//   H(t) = N N' + U diag(f) U',   f_k = s_k^2 / (s_k^2 + t^2),   g_k = 1 - f_k,
// and all scores are sums over k of f, g, s and z = U'y (G. H. Golub, M. Heath, G. Wahba,
// Technometrics 21, 1979, section 2).
#pragma once

#include <memory>

#include "model/ridge_regression/common_penalty/common_penalty_design.h"
#include "n_array/n_array.h"

namespace corvane::model::ridge_regression_detail {

// f and g of one singular value, each with full relative precision, and the derivatives of
// g with respect to t: g' = 2 f g / t, g'' = 2 f g (f - 3 g) / t^2.
struct ridge_filter {
  double filter_factor;  // f
  double complement;     // g = 1 - f
  double first;
  double second;
};
ridge_filter filter_of(double s, double t);

// s / (s^2 + t^2) and 1 / (s^2 + t^2), without a square that overflows or underflows.
double damped_inverse(double s, double t);
double damped_inverse_square(double s, double t);

struct penalty_spectrum {
  index_t observations = 0;      // n
  index_t outside = 0;           // dimension of the complement of N and U
  double outside_squares = 0.0;  // squared length of y there
  dense_vector s;
  dense_vector z;
};

// Leverage and residual of each observation. With the row u of U,
//   1 - leverage(t) = one_minus_leverage + sum over k of g_k u_k^2,
//   residual(t) = residual + sum over k of g_k z_k u_k.
struct penalty_rows {
  dense_matrix columns;  // n by k + 2: U, then the two below

  index_t rank() const { return columns.cols() - 2; }
  const_matrix_block basis() const {
    return const_matrix_block{columns}.part_columns(0, rank());
  }
  const_vector_view one_minus_leverage() const { return columns.view().column(rank()); }
  const_vector_view residual() const { return columns.view().column(rank() + 1); }
};

class common_penalty_factors {
 public:
  common_penalty_factors() = default;
  common_penalty_factors(const common_penalty_factors&) = delete;
  common_penalty_factors& operator=(const common_penalty_factors&) = delete;
  virtual ~common_penalty_factors() = default;

  virtual const penalty_spectrum& spectrum() const = 0;
  virtual penalty_rows rows() const = 0;
  // Per column of X1, its part in the trace of H(t).
  virtual void column_dof(double t, vector_view dof) const = 0;
  // The coefficients of X1, then that of N.
  virtual void solve(double t, vector_view weights) const = 0;
};

// By rows as observations, or in the dual form where these are not more than the columns,
// in which nothing of the size columns by columns is formed. Throws std::runtime_error when
// the singular value decomposition fails.
std::unique_ptr<const common_penalty_factors> factor_common_penalty(
    const common_penalty_design& design);

// The two forms, for designs with more rows than columns, and for the others.
std::unique_ptr<const common_penalty_factors> make_primal_factors(
    const common_penalty_design& design);
std::unique_ptr<const common_penalty_factors> make_dual_factors(
    const common_penalty_design& design);

}  // namespace corvane::model::ridge_regression_detail
