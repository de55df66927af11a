// SPDX-License-Identifier: BSD-3-Clause
//
// The minimum of a quadratic function with an l1 and an l2 penalty:
//   q(w) = (w - w0)' H (w - w0) / 2 - g' (w - w0) + sum_j (l1_j |w_j| + l2_j w_j^2 / 2)
// by coordinate descent, which finds the signs, and Cholesky steps over the weights that
// are not 0, which are exact once the signs are right. J. Friedman, T. Hastie,
// R. Tibshirani, "Regularization paths for generalized linear models via coordinate
// descent", J. Stat. Software 33 (2010).
#pragma once

#include "common/interruption.h"
#include "n_array/n_array.h"

namespace corvane::model::sparse_path {

struct lasso_quadratic {
  const_matrix_view H;  // both triangles, positive semidefinite
  const_vector_view l1;
  const_vector_view l2;
  interruption* interrupt;  // may be null
};

// The part of the slope g - H (w - w0) that no subgradient of the penalty balances: 0 at
// the minimum.
double imbalance(double slope, double weight, double l1, double l2);

// On entry `w` is w0, and `slopes` is g; on return `w` is the minimum, with exact zeros,
// and `slopes` is g - H (w - w0). A weight of which nothing has a curvature or a penalty
// stays as it is.
void minimize(const lasso_quadratic& problem, vector_view w, vector_view slopes);

}  // namespace corvane::model::sparse_path
