// SPDX-License-Identifier: BSD-3-Clause
//
// Effective degrees of freedom of a solved inner problem. The fitted predictor moves with
// the working response by X H^-1 X' V, V = diag(l''), the trace of which is
//   sum_i h_i l''_i = sum_j (A H^-1)_jj,   A = X' V X.
// T. Hastie, R. Tibshirani, Generalized Additive Models (1990), section 6.8.3.
#pragma once

#include "model/linear_linked_regression/detail/optimum_derivatives.h"
#include "n_array/n_array.h"

namespace corvane::model::linear_linked_regression_detail {

// (A H^-1)_jj of each column j; `loss_curvature` is A.
dense_vector effective_dof_of_columns(const inner_optimum& optimum,
                                      const_symmetric_view loss_curvature);

}  // namespace corvane::model::linear_linked_regression_detail
