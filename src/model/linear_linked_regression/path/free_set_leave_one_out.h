// SPDX-License-Identifier: BSD-3-Clause
//
// Leave-one-out of the quadratic model of the loss of a sparse fit, with the exact penalty:
// the active set of the fit without a row may differ from that of the fit.
//
// At the minimum, with residuals r, curvatures v, slopes g = X' r, and x~ the columns
// centered by v, the model without row i changes the linear predictors by
// dz_k = c~ + x~_k . dw and minimizes
//   sum(v) c~^2 / 2 + dw' H dw / 2 - g . dw  +  r_i dz_i - v_i dz_i^2 / 2
//     + sum_j (l1_j |w_j + dw_j| + l2_j (w_j + dw_j)^2 / 2),      H = X~' V X~.
// Setting its derivatives to 0 gives, with f = v_i dz_i - r_i,
//   c~ = f / sum(v),    H dw - g - f x~_i + l2 (w + dw) + l1 sign = 0.
// For a given f this is a lasso whose solution dw(f) is piecewise linear; so is dz_i(f),
// with the slope h = 1 / sum(v) + x~_iA . M x~_iA, M = (H_AA + l2)^-1, A the active set.
// As v_i h <= 1, the equation f = v_i dz_i(f) - r_i has one solution; from f = 0 on, pieces
// are followed up to it. Without a change of A that is f = -r_i / (1 - v_i h).
//
// A column stays inactive if no row can bring its slope to the bound l1_j, with
// |f_i| <= 3 |r_i| and a change of f_i x_ij; of very many others the nearest may enter.
#pragma once

#include "model/linear_linked_regression/path/sparse_fit.h"

namespace corvane::model::sparse_path {

struct leave_one_out {
  dense_vector predictors;  // z_i + dz_i, of each row
  double loss = 0.0;        // the sum of log(1 + exp(-s_i predictor_i))
  // Of each column, diag((H_AA + l2)^-1 H_AA): what it adds to the trace of the matrix that
  // takes the working response to z.
  dense_vector effective_dof;
};

// The loss is infinite where the model without a row has no minimum.
leave_one_out leave_each_row_out(const sparse_problem& problem, const sparse_fit& fit);

}  // namespace corvane::model::sparse_path
