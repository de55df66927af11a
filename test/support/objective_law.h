// SPDX-License-Identifier: BSD-3-Clause
//
// The law of an objective: its gradient is the derivative of its value, its Hessian is the
// derivative of its gradient, and the combined operations give the numbers of the single
// ones.
//
// Derivatives are held against central differences D(h) = (f(x + h) - f(x - h)) / 2h over a
// ladder of steps h, h/2, h/4, ... Where the error |D(h) - claimed| stands above the
// rounding of the difference, it must fall as h^2, by four from rung to rung; a claim that
// is wrong by more than the rounding leaves an error that does not fall.
#pragma once

#include <gtest/gtest.h>

#include <vector>

#include "optimization/objective.h"

namespace corvane::testing {

struct law_options {
  double first_step = 0.02;    // the longest step, relative to the entry of x that it moves
  double smallest_step = 0.0;  // floor of the longest step, for entries near zero
  int rungs = 12;
  double value_noise = 1e-14;     // rounding of a value, relative to the values seen
  double gradient_noise = 1e-13;  // rounding of a gradient entry, relative to the largest
};

// EXPECT_TRUE(obeys_objective_law(objective, x)). The failure names the entry, the ladder
// of steps and the errors seen.
::testing::AssertionResult obeys_objective_law(second_order_objective& objective,
                                               const std::vector<double>& x,
                                               const law_options& options = {});

}  // namespace corvane::testing
