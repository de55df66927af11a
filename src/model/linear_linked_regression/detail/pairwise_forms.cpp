// SPDX-License-Identifier: BSD-3-Clause
#include "model/linear_linked_regression/detail/pairwise_forms.h"

#include <limits>

#include "common/linear_algebra.h"

namespace corvane::model::linear_linked_regression_detail {

namespace {

// a_ij *= b_ij
void multiply_entries(matrix_view a, const_matrix_view b) {
  double* const to = a.data();
  const double* const by = b.data();
  for (index_t e = 0; e < a.size(); ++e) to[e] *= by[e];
}

// d_a = dr2/dtheta_a + r3 dw_a
void fill_diagonal_parts(const penalty_derivatives& penalty, const_matrix_view dW,
                         matrix_view D) {
  for (index_t a = 0; a < D.cols(); ++a) {
    const vector_view d = D.column(a);
    for (index_t k = 0; k < d.size(); ++k) d[k] = penalty.r3[k] * dW(k, a);
    if (penalty.curvature_derivative.empty()) continue;
    const const_vector_view values = penalty.curvature_derivative.row_values(a);
    const const_index_view columns = penalty.curvature_derivative.row_columns(a);
    for (index_t e = 0; e < values.size(); ++e) d[columns[e]] += values[e];
  }
}

// H^-1, both triangles; NaN where it is not there, which the caller scans for
matrix_view invert(scoped_allocator& scratch, const_matrix_block factor) {
  const matrix_view inverse = scratch.matrix(factor.rows(), factor.cols());
  copy(factor, inverse);
  if (potri(inverse) != 0) fill_lower(inverse, std::numeric_limits<double>::quiet_NaN());
  mirror_lower(inverse);
  return inverse;
}

}  // namespace

pairwise_forms::pairwise_forms(scoped_allocator& scratch, const inner_optimum& optimum,
                               const penalty_derivatives& penalty, const_vector_view l3,
                               const_matrix_view dW, const_matrix_view dz)
    : hessian_factor_{optimum.hessian_factor},
      B_{scratch.matrix(optimum.X.cols(), optimum.X.rows())},
      P_{scratch.matrix(optimum.X.rows(), optimum.X.rows())},
      T_{scratch.matrix(dz.rows(), dz.cols())},
      D_{scratch.matrix(dW.rows(), dW.cols())} {
  for (index_t k = 0; k < B_.rows(); ++k)
    for (index_t i = 0; i < B_.cols(); ++i) B_(k, i) = optimum.X(i, k);
  trsm(side::left, triangle::lower, plain, hessian_factor_, B_);
  trsm(side::left, triangle::lower, transposed, hessian_factor_, B_);
  gemm(1.0, plain, optimum.X, plain, B_, 0.0, P_);
  for (index_t a = 0; a < T_.cols(); ++a)
    for (index_t i = 0; i < T_.rows(); ++i) T_(i, a) = l3[i] * dz(i, a);
  fill_diagonal_parts(penalty, dW, D_);
}

void pairwise_forms::differentiate_leverages(matrix_view dh) const {
  scoped_allocator scratch;
  const matrix_view squares = scratch.matrix(P_.rows(), P_.cols());
  copy(P_, squares);
  multiply_entries(squares, P_);
  gemm(-1.0, plain, squares, plain, T_, 0.0, dh);
  const matrix_view B_squares = scratch.matrix(B_.rows(), B_.cols());
  copy(B_, B_squares);
  multiply_entries(B_squares, B_);
  gemm(-1.0, transposed, B_squares, plain, D_, 1.0, dh);
}

void pairwise_forms::add_curvature_terms(const_vector_view v,
                                         symmetric_view hessian) const {
  scoped_allocator scratch;
  const index_t n = P_.rows();
  const index_t p = B_.rows();
  const matrix_view scaled = scratch.matrix(p, n);  // B diag(v)
  for (index_t i = 0; i < n; ++i)
    for (index_t k = 0; k < p; ++k) scaled(k, i) = B_(k, i) * v[i];
  const matrix_view mixed = scratch.matrix(p, n);  // B o W X'
  gemm(1.0, plain, scaled, plain, P_, 0.0, mixed);
  multiply_entries(mixed, B_);
  const matrix_view weights = invert(scratch, hessian_factor_);  // H^-1 o W
  const matrix_view W = scratch.matrix(p, p);
  gemm(1.0, plain, scaled, transposed, B_, 0.0, W);
  multiply_entries(weights, W);
  const matrix_view observations = scratch.matrix(n, n);  // P o X W X'
  const matrix_view scaled_P = scratch.matrix(n, n);
  for (index_t j = 0; j < n; ++j)
    for (index_t i = 0; i < n; ++i) scaled_P(i, j) = P_(i, j) * v[j];
  gemm(1.0, plain, scaled_P, plain, P_, 0.0, observations);
  multiply_entries(observations, P_);

  // T' (P o XWX' T + (B o WX')' D) + D' ((B o WX') T + (H^-1 o W) D)
  const matrix_view of_T = scratch.matrix(n, T_.cols());
  gemm(1.0, plain, observations, plain, T_, 0.0, of_T);
  gemm(1.0, transposed, mixed, plain, D_, 1.0, of_T);
  const matrix_view of_D = scratch.matrix(p, D_.cols());
  gemm(1.0, plain, mixed, plain, T_, 0.0, of_D);
  gemm(1.0, plain, weights, plain, D_, 1.0, of_D);
  gemmt(2.0, transposed, T_, plain, of_T, 1.0, hessian);
  gemmt(2.0, transposed, D_, plain, of_D, 1.0, hessian);
}

}  // namespace corvane::model::linear_linked_regression_detail
