// SPDX-License-Identifier: BSD-3-Clause
//
// The inner problem with its losses replaced by their quadratic model at w, and the penalty
// as it is:
//   m(d) = g'd + d'A d / 2 + R(w + d),   g = X' l',  A = X' diag(l'') X.
// A smoothed |w_k| changes within its zone by more than any quadratic tells; along one
// coordinate of m it is followed exactly. J. Friedman, T. Hastie, R. Tibshirani,
// "Regularization paths for generalized linear models via coordinate descent", J. Stat.
// Softw. 33 (2010), section 3.
#pragma once

#include "model/linear_linked_regression/weight_penalty.h"
#include "n_array/n_array_view.h"

namespace corvane::model::linear_linked_regression_detail {

struct penalized_model {
  const_vector_view weights;       // w
  const_vector_view slope;         // g
  const_symmetric_view curvature;  // A
  const weight_penalty& penalty;
};

struct model_move {
  double length = 0.0;            // the largest |d_k| sqrt(A_kk + r2_k)
  bool crosses_a_border = false;  // some weight enters its zone, or leaves it
};

// Moves `weights`, equal to w, towards a minimum of m. Each weight goes downhill from where
// it is: one that lies in its zone stays there as long as a minimum there holds it.
model_move descend(const penalized_model& model, vector_view weights);

// Whether the minimum that holds a weight in its zone is about to vanish: the curvature
// along it is but a small part of that at zero. `curvature` is A_kk.
bool is_about_to_leave_zone(const weight_penalty& penalty, index_t k, double w,
                            double curvature);

}  // namespace corvane::model::linear_linked_regression_detail
