// SPDX-License-Identifier: BSD-3-Clause
//
// What the ridge scores are held against: their formulas, with each term of each derivative
// written down by itself, in plain loops over extended precision.
#pragma once

#include <gtest/gtest.h>

#include <vector>

#include "optimization/objective.h"
#include "src/model/ridge_regression/ridge_problem.h"

namespace corvane::model::ridge_regression_detail {

struct score_derivatives {
  real value = 0.0L;
  real_vector gradient;
  real_matrix hessian;  // the lower triangle
};

// The leave-one-out sum over the rows of `rotated`, of which row r * count + k is part r of
// observation k, with the fit of `problem`; each observation counts once.
score_derivatives leave_one_out_by_loops(const ridge_problem& problem,
                                         const ridge_problem& rotated, index_t parts,
                                         const std::vector<double>& t);

score_derivatives range_risk_by_loops(const ridge_problem& problem,
                                      const std::vector<double>& t);

// Value, gradient and Hessian of the objective, to `tolerance` relative to the largest
// entry of each.
::testing::AssertionResult agrees(second_order_objective& objective,
                                  const std::vector<double>& t,
                                  const score_derivatives& expected,
                                  double tolerance = 1e-11);

// The combined evaluations give bit for bit what the separate ones give.
::testing::AssertionResult combined_calls_repeat_separate_calls(
    second_order_objective& objective, const std::vector<double>& t);

}  // namespace corvane::model::ridge_regression_detail
