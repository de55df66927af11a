// SPDX-License-Identifier: BSD-3-Clause
#include "model/linear_linked_regression/detail/optimum_derivatives.h"

#include "model/linear_linked_regression/detail/observation_products.h"

namespace corvane::model::linear_linked_regression_detail {

namespace {

// dW = -H^-1 G', G being the Q by p matrix of dr1/dtheta.
void differentiate_weights(const_matrix_block L, const sparse_matrix& G, matrix_view dW) {
  fill(dW, 0.0);
  if (G.empty()) return;  // theta moves nothing, as where every weight is exactly zero
  for (index_t a = 0; a < dW.cols(); ++a) {
    const const_vector_view values = G.row_values(a);
    const const_index_view columns = G.row_columns(a);
    for (index_t e = 0; e < values.size(); ++e) dW(columns[e], a) = -values[e];
  }
  trsm(side::left, triangle::lower, plain, L, dW);
  trsm(side::left, triangle::lower, transposed, L, dW);
}

// The lower triangle of dH_a.
void differentiate_hessian(const inner_optimum& optimum, const penalty_derivatives& penalty,
                           const_vector_view l3, const_vector_view dw, const_vector_view dz,
                           index_t a, matrix_view dH) {
  scoped_allocator scratch;
  const vector_view t = scratch.vector(l3.size());
  for (index_t i = 0; i < t.size(); ++i) t[i] = dz[i] * l3[i];
  weighted_gram(optimum.X, t, dH, optimum.interrupt);
  // How r2 moves with theta_a itself.
  if (!penalty.curvature_derivative.empty()) {
    const const_vector_view values = penalty.curvature_derivative.row_values(a);
    const const_index_view columns = penalty.curvature_derivative.row_columns(a);
    for (index_t e = 0; e < values.size(); ++e) dH(columns[e], columns[e]) += values[e];
  }
  // How r2 moves with the weights.
  for (index_t k = 0; k < dw.size(); ++k) dH(k, k) += penalty.r3[k] * dw[k];
}

// dh_i = -x_i' K x_i with K = H^-1 dH H^-1, which is made of the whitened dH.
void differentiate_leverages(const inner_optimum& optimum, const_matrix_view whitened_dH,
                             vector_view dh) {
  scoped_allocator scratch;
  const matrix_view K = scratch.matrix(whitened_dH.rows(), whitened_dH.cols());
  copy(whitened_dH, K);
  divide_by_factor(transposed, optimum.hessian_factor, K);
  quadratic_forms(optimum.X, K, dh, optimum.interrupt);
  for (double& entry : dh) entry = -entry;
}

}  // namespace

void mirror_lower(matrix_block a) {
  for (index_t j = 0; j < a.cols(); ++j)
    for (index_t i = j + 1; i < a.rows(); ++i) a(j, i) = a(i, j);
}

void divide_by_factor(transposition op, const_matrix_block L, matrix_block a) {
  trsm(side::left, triangle::lower, op, L, a);
  trsm(side::right, triangle::lower, op == plain ? transposed : plain, L, a);
}

optimum_derivatives differentiate_optimum(scoped_allocator& scratch,
                                          const inner_optimum& optimum,
                                          const penalty_derivatives& penalty) {
  const index_t n = optimum.X.rows();
  const index_t Q = optimum.theta.size();
  const optimum_derivatives out{scratch.matrix(optimum.X.cols(), Q), scratch.matrix(n, Q),
                                scratch.matrix(n, Q)};
  differentiate_weights(optimum.hessian_factor, penalty.gradient_derivative, out.dW);
  gemm(1.0, plain, optimum.X, plain, out.dW, 0.0, out.dz);
  return out;
}

matrix_view differentiate_leverages(scoped_allocator& scratch, const inner_optimum& optimum,
                                    const penalty_derivatives& penalty,
                                    const_vector_view l3,
                                    const optimum_derivatives& moves) {
  const index_t p = optimum.X.cols();
  // Taken before any inner scope opens: it outlives the call.
  const matrix_view whitened_dH = scratch.matrix(p * p, optimum.theta.size());
  for (index_t a = 0; a < whitened_dH.cols(); ++a) {
    // dH_a is made in its column and whitened there.
    const matrix_view dH{whitened_dH.column(a).data(), p, p};
    differentiate_hessian(optimum, penalty, l3, moves.dW.column(a), moves.dz.column(a), a,
                          dH);
    mirror_lower(dH);
    divide_by_factor(plain, optimum.hessian_factor, dH);
    differentiate_leverages(optimum, dH, moves.dh.column(a));
  }
  return whitened_dH;
}

}  // namespace corvane::model::linear_linked_regression_detail
