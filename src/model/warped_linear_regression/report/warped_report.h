// SPDX-License-Identifier: BSD-3-Clause
//
// fit_warped: fits a warped linear regression and reports it in the units of the data. With
// n targets, S the residual sum of squares of z(y) on X, and dz/dy in latent units per unit
// of the target,
//
//   log likelihood = -n/2 (log(2 pi S / n) + 1) + sum over i of log dz/dy at y_i
//   criterion      =  n/2 log S - sum over i of log dz/dy at y_i + B
//
// B bounds heights and steepnesses, and is 0 for all but extreme ones. The
// likelihood is at its maximum over coefficients and noise, S / n; the reported noise is S
// divided by n less the number of kept columns.
#pragma once

#include "model/warped_linear_regression/prediction/warped_predictor.h"
#include "n_array/n_array.h"
#include "optimization/run_observer.h"
#include "optimization/trust_region_state.h"

namespace corvane::model {

struct warped_fit_options {
  index_t num_steps = 1;
  bool fit_intercept = true;  // centers target and columns
  bool normalize = true;      // divides them by their lengths
  // (alpha, beta, gamma) of each step, standardized; empty means reproducible draws.
  const_vector_view start{};
  double tolerance = 0.0001;
  int max_iterations = 10000;
  run_observer* observer = nullptr;
};

struct warped_report {
  warped_state state;  // from which everything is predicted
  // In latent units per unit of the column; 0 for the columns that are not kept: constant
  // ones, and those that depend linearly on the ones before them.
  dense_vector coef;
  double intercept = 0.0;
  // p by q: the covariance of the coefficients is v W W', v the noise variance.
  dense_matrix covariance_root;
  double log_likelihood = 0.0;
  double criterion = 0.0;
  double effective_dof = 0.0;  // trace of the latent hat matrix, intercept included
  double smallest_target = 0.0;
  double largest_target = 0.0;
  trust_region_result run;  // x: the parameters of the steps
};

// X is n by p with p < n. A column whose length, centered, is below the smallest normal
// double counts as constant. Throws std::domain_error("constant target"), ("constant
// columns"), ("squares overflow") or ("dependent columns") where the data have no fit,
// std::overflow_error where the coefficients overflow, optimizer_undefined_error where the
// likelihood is undefined at the start, and what the observer throws.
warped_report fit_warped(const_vector_view y, const_matrix_view X,
                         const warped_fit_options& options);

}  // namespace corvane::model
