// SPDX-License-Identifier: BSD-3-Clause
#include "model/warped_linear_regression/inverse/root_solver.h"

#include <algorithm>

namespace corvane {

namespace {

// By the sign bit: a residual of -0.0 is negative, and a NaN has a sign too.
double sign_of(double value) { return std::signbit(value) ? -1.0 : 1.0; }

}  // namespace

void root_bracket::initialize(double lower_end, double upper_end, double lower_value,
                              double upper_value) {
  lower = lower_end;
  upper = upper_end;
  lower_sign = sign_of(lower_value);
  upper_sign = sign_of(upper_value);
}

void root_bracket::update(double x, double residual) {
  const double sign = sign_of(residual);
  if (lower_sign * sign == -1.0) {
    upper = x;
    upper_sign = sign;
  } else {
    lower = x;
    lower_sign = sign;
  }
}

double root_bracket::safeguard(double threshold, double x) const {
  if (lower_sign * upper_sign != -1.0) return x;
  const double clamped = upper > lower ? std::min(upper, std::max(lower, x))
                                       : std::max(upper, std::min(lower, x));
  const double to_nearer_end =
      std::min(std::abs(upper - clamped), std::abs(lower - clamped));
  // For a bracket of width 0 this is NaN, the comparison is false and the point is kept.
  const double closeness = to_nearer_end / std::abs(upper - lower);
  return threshold > closeness ? (upper - lower) * 0.5 + lower : clamped;
}

}  // namespace corvane
