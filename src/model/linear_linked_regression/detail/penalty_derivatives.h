// SPDX-License-Identifier: BSD-3-Clause
//
// The derivatives of a penalty at (theta, w) that the outer problem needs beyond the
// gradient r1 and curvature r2 in w. Rows of first derivatives belong to a hyperparameter,
// rows of second ones to a pair of them; columns belong to weights.
#pragma once

#include <optional>

#include "model/linear_linked_regression/regularizer.h"
#include "n_array/n_array.h"

namespace corvane::model::linear_linked_regression_detail {

// An empty matrix stands for zero.
struct penalty_derivatives {
  sparse_matrix gradient_derivative;   // Q rows: dr1/dtheta_a
  sparse_matrix gradient_hessian;      // a row per pair: d2r1/dtheta_a dtheta_b
  sparse_matrix curvature_derivative;  // Q rows: dr2/dtheta_a
  sparse_matrix curvature_hessian;     // a row per pair: d2r2/dtheta_a dtheta_b
  sparse_matrix third_derivative;      // Q rows: dr3/dtheta_a
  dense_vector r3;                     // d3R/dw3
  dense_vector r4;                     // d4R/dw4
};

// Nothing where a derivative is not finite.
std::optional<penalty_derivatives> differentiate_penalty(const regularizer& penalty,
                                                         const_vector_view theta,
                                                         const_vector_view w);

}  // namespace corvane::model::linear_linked_regression_detail
