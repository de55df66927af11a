// SPDX-License-Identifier: BSD-3-Clause
//
// How the solution of the inner problem moves with the hyperparameters theta. The implicit
// function theorem on its gradient, X' l'(y, X w) + r1(theta, w) = 0, gives
//   H dw_a = -dr1/dtheta_a                 dz_a = X dw_a
//   dH_a   = X' diag(l''' dz_a) X + diag(dr2/dtheta_a + r3 dw_a)
//   dh_ia  = -x_i' H^-1 dH_a H^-1 x_i      for the leverages h_i = x_i' H^-1 x_i
// with H the inner Hessian and L its Cholesky factor; p weights, n observations and Q
// hyperparameters.
#pragma once

#include "common/interruption.h"
#include "common/linear_algebra.h"
#include "common/scoped_allocator.h"
#include "model/linear_linked_regression/detail/penalty_derivatives.h"
#include "n_array/n_array_view.h"

namespace corvane::model::linear_linked_regression_detail {

// A solved inner problem: what its evaluation left, and what leaving out each observation
// makes of it.
struct inner_optimum {
  const_vector_view theta;
  const_matrix_view X;
  const_vector_view y;
  const_vector_view weights;          // w
  const_vector_view predictions;      // z = X w
  const_vector_view l1;               // l'(y, z)
  const_vector_view l2;               // l''(y, z)
  const_matrix_block hessian_factor;  // L
  const_vector_view leverages;        // h
  const_vector_view loo_predictions;  // zeta
  interruption* interrupt = nullptr;  // checked in the loops over observations
};

// Views into the caller's scratch memory.
struct optimum_derivatives {
  matrix_view dW;  // p by Q
  matrix_view dz;  // n by Q
  matrix_view dh;  // n by Q
};

// dW and dz; dh is left to be filled.
optimum_derivatives differentiate_optimum(scoped_allocator& scratch,
                                          const inner_optimum& optimum,
                                          const penalty_derivatives& penalty);

// Fills dh. Returns L^-1 dH_a L^-T, p^2 by Q, a full p by p matrix in each column. `l3` is
// l'''(y, z).
matrix_view differentiate_leverages(scoped_allocator& scratch, const inner_optimum& optimum,
                                    const penalty_derivatives& penalty,
                                    const_vector_view l3, const optimum_derivatives& moves);

// Fills the upper triangle of a symmetric matrix from its lower one.
void mirror_lower(matrix_block a);

// A = op(L)^-1 A op(L)^-T. After the plain form the transposed one completes H^-1 A H^-1.
void divide_by_factor(transposition op, const_matrix_block L, matrix_block a);

}  // namespace corvane::model::linear_linked_regression_detail
