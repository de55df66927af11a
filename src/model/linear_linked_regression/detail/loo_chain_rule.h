// SPDX-License-Identifier: BSD-3-Clause
//
// Gradient and Hessian in theta of the approximate leave-one-out loss
//   V = sum_i l(y_i, zeta_i),   zeta_i = z_i + h_i l1_i / (1 - h_i l2_i).
// With a = dzeta/dz and b = dzeta/dh per sample, and c1, c2 the derivatives of l at zeta,
//   dV/da    = sum_i c1_i dzeta_ia,  dzeta_a = a dz_a + b dh_a
//   d2V/dadb = sum_i c2 dzeta_a dzeta_b + c1 (a d2z_ab + b d2h_ab + da/dz dz_a dz_b
//              + da/dh (dz_a dh_b + dz_b dh_a) + db/dh dh_a dh_b)
// K. Rahnama Rad, A. Maleki, "A scalable estimate of the out-of-sample prediction error via
// approximate leave-one-out cross-validation", J. R. Stat. Soc. B 82 (2020).
#pragma once

#include "model/linear_linked_regression/detail/optimum_derivatives.h"
#include "model/linear_linked_regression/linear_loss_link.h"
#include "model/linear_linked_regression/regularizer.h"

namespace corvane::model::linear_linked_regression_detail {

// False when the link or the penalty cannot give a derivative, or a result is not finite.
bool compute_loo_gradient_hessian(const linear_loss_link& link, const regularizer& penalty,
                                  const inner_optimum& optimum, vector_view gradient,
                                  symmetric_view hessian);

}  // namespace corvane::model::linear_linked_regression_detail
