// SPDX-License-Identifier: BSD-3-Clause
//
// Private part of common_penalty_objective: its scores as functions of the factors. With
// the residual e_i and d_i = 1 - leverage_i as sums over k of g_k(t) (penalty_rows), the
// leave-one-out error is
//   value = sum over i of s_i^2,   s_i = e_i / d_i,
// and the generalized cross validation (G. H. Golub, M. Heath, G. Wahba, Technometrics 21,
// 1979, (2.3)) is
//   value = S / (E / n)^2,   S = S_0 + sum over k of (g_k z_k)^2,
//   E = n - trace H = E_0 + sum over k of g_k.
// It equals gcv_objective when all t are equal and the columns without penalty
// are orthogonal to the others: there the rotation gives all rows the same leverage.
#pragma once

#include <optional>

#include "model/ridge_regression/common_penalty/common_penalty_factors.h"

namespace corvane::model::ridge_regression_detail {

// A jet: the value of a function of t with its first and second derivative.
struct penalty_jet {
  double value = 0.0;
  double first = 0.0;
  double second = 0.0;
};

// One pass over U. A value that is not finite is returned as it is, as in
// loocv_objective.
penalty_jet leave_one_out_jet(const penalty_spectrum& spectrum, const penalty_rows& rows,
                              double t);
// In time proportional to the number of singular values; empty where it is not finite.
std::optional<penalty_jet> generalized_jet(const penalty_spectrum& spectrum, double t);

}  // namespace corvane::model::ridge_regression_detail
