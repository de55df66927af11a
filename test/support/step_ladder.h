// SPDX-License-Identifier: BSD-3-Clause
//
// Derivatives against differences, with the order. A difference D(h) of second order is
// taken over a ladder of steps h, h/2, h/4, ... Where the error |D(h) - claimed| stands
// above the rounding of the difference, it must fall as h^2, by four from rung to rung; a
// claim that is wrong by more than the rounding leaves an error that does not fall.
#pragma once

#include <gtest/gtest.h>

#include <functional>
#include <vector>

namespace corvane::testing {

// One rung: the step, the error of the difference there and the rounding it may have.
struct rung {
  double step;
  double error;
  double rounding;
};

// How the error falls. It falls faster than the square where the third derivative of the
// function, which is the factor of h^2, is zero at the point.
enum class expected_fall { square, square_or_faster };

// Judges the errors of one derivative; the failure prints the ladder.
::testing::AssertionResult falls_as_square_of_step(
    const std::vector<rung>& ladder, expected_fall expected = expected_fall::square);

// Where the function is taken: on both sides of the point, or on one when the other has
// another formula.
enum class difference { central, forward, backward };

struct ladder_options {
  double first_step = 0.01;
  difference kind = difference::central;
  int rungs = 10;
  double noise = 1e-14;  // rounding of a value, relative to the values seen
  expected_fall fall = expected_fall::square;
};

// EXPECT_TRUE(is_derivative_of(f, claimed)): `claimed` holds df/dt at t = 0, entry by
// entry.
::testing::AssertionResult is_derivative_of(
    const std::function<std::vector<double>(double t)>& f,
    const std::vector<double>& claimed, const ladder_options& options);

}  // namespace corvane::testing
