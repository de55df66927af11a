// SPDX-License-Identifier: BSD-3-Clause
//
// Gradient and Hessian of a leave-one-out sum of squares, value = sum over i of s_i^2 with
// s = (y - prediction) / d and d = 1 - leverage, from sums over the observations. For a =
// inverse(M) inverse(D) x the prediction and the leverage have the derivatives
//   P_j = -2 a_j w_j / t_j,   Q_j = -2 a_j^2 / t_j,
// and second derivatives that contain inverse(M). With u = s / d and phi = 2 s u the sums
// are
//   g = sum of 2 u a,   C = sum of phi a a',
//   curvature = sum of (2 / d^2) (v v' - 2 s (v q' + q v') + 3 s^2 q q'),
// where v_g = sum of a_j w_j and q_g = sum of a_j^2 over the columns j of group g. An
// observation that is a complex number counts as its real and its imaginary part, which
// share leverage and q.
#pragma once

#include "common/scoped_allocator.h"
#include "model/ridge_regression/grouping/penalty_groups.h"
#include "model/ridge_regression/scores/ridge_regression_objective.h"
#include "model/ridge_regression/scores/ridge_solution.h"

namespace corvane::model::ridge_regression_detail {

struct leave_one_out_sums {
  vector_view g;           // q entries
  vector_view C_traces;    // one per group: the sum of C_jj over its columns
  matrix_block C;          // q by q, the lower triangle
  matrix_block curvature;  // groups by groups, the lower triangle
};

// All zero. Sums that the outputs do not need have no entries.
leave_one_out_sums take_sums(scoped_allocator& scope, index_t q, index_t groups,
                             const ridge_outputs& wanted);

// Writes the gradient and the Hessian that are wanted, by the roots of the groups.
void write_derivatives(const ridge_solution& solution, const_vector_view t,
                       const penalty_groups& groups, const leave_one_out_sums& sums,
                       const ridge_outputs& wanted);

}  // namespace corvane::model::ridge_regression_detail
