// SPDX-License-Identifier: BSD-3-Clause
//
// The fallback step of a subproblem whose bracket no longer changes though no step passed a
// test. That is the exact hard case, as H = diag(-1, 1) with g = 0, where H + lambda I is
// singular at the one multiplier that is left; or a Hessian so close to singular that
// rounding gives its failing pivot the wrong sign, and the bound from it is below lambda.
#pragma once

#include "n_array/n_array_view.h"
#include "optimization/shifted_system.h"
#include "optimization/subproblem_bounds.h"

namespace corvane {

// Writes a step within the radius and returns its model change: with an indefinite H a real
// decrease, from just above lambda_singular to the boundary along the nearly singular
// direction, and lambda is then the multiplier of that point. Without a decrease to be
// found the step is zero and the change 0; with a model that cannot be evaluated, such as
// one with a NaN, the step is zero and the change NaN.
double take_hard_case_step(const trust_region_model& model, const subproblem_bounds& bounds,
                           double& lambda, vector_view step);

}  // namespace corvane
