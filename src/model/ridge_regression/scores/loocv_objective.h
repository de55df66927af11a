// SPDX-License-Identifier: BSD-3-Clause
//
// loocv_objective: the exact leave-one-out error of a ridge fit, without a refit (the PRESS
// statistic of D. M. Allen, Technometrics 16, 1974):
//   value = sum over i of s_i^2,   s_i = (y_i - prediction_i) / d_i,   d_i = 1 - h_i,
// where W = X inverse(D) inverse(L'), prediction = W z and h_i = |W_i|^2, the leverage.
// W is kept for the derivatives at the same point, which take a = W inverse(L) and three
// products of tables with a row per observation. These tables exist for one block of
// observations at a time: scratch does not grow with n, and stays in cache.
#pragma once

#include "common/interruption.h"
#include "model/ridge_regression/scores/leave_one_out_sums.h"
#include "model/ridge_regression/scores/point_cache.h"
#include "model/ridge_regression/scores/ridge_regression_objective.h"
#include "model/ridge_regression/scores/ridge_solution.h"

namespace corvane::model::ridge_regression_detail {

class loocv_objective final : public ridge_regression_objective {
 public:
  // X, n by p, and y, n entries, both normalized. The interruption is checked before
  // each block of observations.
  loocv_objective(dense_matrix&& design, dense_vector&& target,
                  interruption* interruption = nullptr);

 private:
  // The residuals at a point.
  struct residual_state {
    ridge_solution solution;
    dense_matrix L_inverse;  // p by p, zeros above the diagonal
    dense_matrix W;          // n by p
    dense_vector s;          // n entries
    dense_vector d;          // n entries

    residual_state(index_t n, index_t p)
        : solution{p}, L_inverse{p, p}, W{n, p}, s{n}, d{n} {}
  };

  bool evaluate(const_vector_view t, const penalty_groups& groups,
                const ridge_outputs& wanted) override;
  bool compute_residuals(const_vector_view t, residual_state& state) const;
  // The sums for the derivatives.
  void add_derivatives(const residual_state& at, const penalty_groups& groups,
                       const leave_one_out_sums& sums) const;

  dense_matrix design_;  // X, n by p
  dense_vector target_;  // y, n entries
  interruption* interruption_;
  point_cache<residual_state> cache_;
};

}  // namespace corvane::model::ridge_regression_detail
