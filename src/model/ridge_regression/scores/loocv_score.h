// SPDX-License-Identifier: BSD-3-Clause
//
// The leave-one-out sum of squares of a ridge fit, without a refit (the PRESS statistic of
// D. M. Allen, Technometrics 16, 1974):
//   value = sum over i of s_i^2,   s_i = (y_i - prediction_i) / d_i,   d_i = 1 - h_i,
// where W = X inverse(D) inverse(L'), prediction = W z and h_i = |W_i|^2, the leverage.
// W is kept for the derivatives at the same point, which take a = W inverse(L) and three
// products of tables with a row per observation. These tables exist for one block of
// observations at a time: scratch does not grow with n, and stays in cache.
#pragma once

#include "common/interruption.h"
#include "model/ridge_regression/scores/leave_one_out_sums.h"

namespace corvane::model::ridge_regression_detail {

// The score at the point that it was last moved to.
class loocv_score {
 public:
  // The interruption is asked before each block of observations.
  loocv_score(dense_matrix&& design, dense_vector&& target,
              interruption* interruption = nullptr);

  // Does nothing at the point where it is. False when the fit is undefined at t.
  bool move_to(const ridge_system& system, const_vector_view t);

  const solved_point& point() const { return point_; }
  double value() const;
  // The sums that the derivatives are made of.
  void add_derivatives(const penalty_groups& groups, const leave_one_out_sums& sums) const;

 private:
  dense_matrix design_;  // X, n by p
  dense_vector target_;  // y, n entries
  solved_point point_;
  dense_matrix L_inverse_;  // p by p, zeros above the diagonal
  dense_matrix W_;          // n by p
  dense_vector s_;          // n entries
  dense_vector d_;          // n entries
  interruption* interruption_;
};

}  // namespace corvane::model::ridge_regression_detail
