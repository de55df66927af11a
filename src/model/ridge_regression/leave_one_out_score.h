// SPDX-License-Identifier: BSD-3-Clause
//
// The leave-one-out sum of squares of a ridge fit, without a refit (the PRESS statistic of
// D. M. Allen, Technometrics 16, 1974), with its exact gradient and Hessian:
//   value = sum over k of m_k sum over the parts r of s_kr^2,
//   s_kr = (y_kr - prediction_kr) / (1 - h_k),
//   h_k = sum over the parts r of x_kr' inverse(A) x_kr,   the leverage.
// An observation has one part, or two that share its leverage when it is a complex row as
// its real and imaginary parts. Rows are taken in blocks: scratch does not grow with n.
#pragma once

#include "model/ridge_regression/ridge_normal_matrix.h"
#include "model/ridge_regression/ridge_score_objective.h"

namespace corvane::model::ridge_regression_detail {

// Part r of observation k is row r * count + k.
struct leave_one_out_rows {
  const_matrix_view design;  // parts * count by p
  const_vector_view target;  // parts * count
  index_t count = 0;         // observations
  index_t parts = 1;
  index_t mirrored_end = 0;  // observations 1 .. mirrored_end - 1 stand for their twins too

  double multiplicity(index_t k) const { return k > 0 && k < mirrored_end ? 2.0 : 1.0; }
};

// False when the normal matrix cannot be factored at t. A value that is not finite is
// written as it is.
bool evaluate_leave_one_out(const leave_one_out_rows& rows, const ridge_system& system,
                            const_vector_view t, const ridge_outputs& wanted);

}  // namespace corvane::model::ridge_regression_detail
