// SPDX-License-Identifier: BSD-3-Clause
#include "model/warped_linear_regression/tanh_inverse.h"

#include <algorithm>
#include <cmath>
#include <limits>
#include <stdexcept>

#include "common/finite.h"
#include "common/scoped_allocator.h"
#include "model/warped_linear_regression/root_solver.h"

namespace corvane::model::tanh_warper_detail {

namespace {

constexpr std::int64_t max_iterations = 10000;

// f(x) with its first two derivatives: one tanh per step and point serves all three.
class step_sum {
 public:
  // What is kept of one step at the current point.
  struct terms {
    double t;
    double s;  // 1 - t^2
    double u;  // x + c
    double tt;
    double ts;
  };

  step_sum(std::span<const step_coefficients> steps, const_vector_view step_means,
           terms* scratch)
      : steps_{steps}, step_means_{step_means.data()}, terms_{scratch} {}

  double value(double x) {
    double sum = x;
    for (std::size_t k = 0; k < steps_.size(); ++k) {
      terms& term = terms_[k];
      term.u = x + steps_[k].position;
      term.t = std::tanh(steps_[k].steepness * term.u);
      term.tt = term.t * term.t;
      term.s = 1.0 - term.tt;
      term.ts = term.t * term.s;
      sum += (term.t - step_means_[k]) * steps_[k].height;
    }
    return sum;
  }

  double derivative(double /*x*/) const {
    double sum = 1.0;
    for (std::size_t k = 0; k < steps_.size(); ++k) sum += steps_[k].slope * terms_[k].s;
    return sum;
  }

  double second_derivative(double /*x*/) const {
    double sum = 0.0;
    for (std::size_t k = 0; k < steps_.size(); ++k)
      sum += steps_[k].slope_by_gamma * terms_[k].ts;
    return sum;
  }

 private:
  std::span<const step_coefficients> steps_;
  const double* step_means_;
  terms* terms_;
};

// The point beyond which f has passed `extreme`, on the side of `step`: strides from 0 that
// grow by a tenth. As f(x) - f(0) is at least as large as x, the stride overtakes any
// finite extreme; it starts at a normal number, since a tenth of a subnormal one may round
// to none, and ends at the largest double.
double expand(step_sum& function, double step, double extreme) {
  const double side = std::copysign(1.0, step);
  step = side * std::max(std::abs(step), std::numeric_limits<double>::min());
  double x = 0.0;
  while (true) {
    x = std::clamp(x + step, -largest_double, largest_double);
    const double excess = side * (function.value(x) - extreme);
    if (excess > 0.0) return x;
    if (std::abs(x) == largest_double) {
      if (excess == 0.0) return x;
      throw std::runtime_error(
          "cannot invert a latent value: its target lies outside the range of double");
    }
    step = std::clamp(step * 1.1, -largest_double, largest_double);
  }
}

root_bracket bracket_all(step_sum& function, const_vector_view latent) {
  const auto [smallest, largest] = std::minmax_element(latent.begin(), latent.end());
  const double at_zero = function.value(0.0);
  const double slope = function.derivative(0.0);
  const auto end_for = [&](double extreme) {
    return expand(function, (extreme - at_zero) / slope, extreme);
  };
  const double upper = *largest > at_zero ? end_for(*largest) : 0.0;
  const double lower = at_zero > *smallest ? end_for(*smallest) : 0.0;
  root_bracket bracket;
  bracket.initialize(lower, upper, -1.0, 1.0);
  return bracket;
}

// Bisection down to neighbouring doubles, and of the two the one with the smaller residual.
double find_closest(step_sum& function, double target, const root_bracket& bracket) {
  double below = bracket.lower;
  double above = bracket.upper;
  while (true) {
    const double middle = below * 0.5 + above * 0.5;
    if (!(below < middle && middle < above)) break;
    (function.value(middle) < target ? below : above) = middle;
  }
  const double short_by = std::abs(function.value(below) - target);
  return short_by < std::abs(function.value(above) - target) ? below : above;
}

double invert_entry(step_sum& function, double target, double tolerance,
                    const root_bracket& bracket) {
  try {
    return find_root({.tolerance = tolerance, .max_iterations = max_iterations}, function,
                     target, target, bracket);
  } catch (const solver_error&) {
    // Rounding of f, or overflow within a step, kept the iterates from the tolerance.
    if (!(tolerance > 0.0)) throw;
    return find_closest(function, target, bracket);
  }
}

}  // namespace

void invert_steps(std::span<const step_coefficients> steps, const_vector_view step_means,
                  const_vector_view latent, double tolerance, vector_view x) {
  if (!all_finite(latent))
    throw std::runtime_error("cannot invert a latent value that is not finite");
  if (latent.size() == 0) return;
  scoped_allocator scope;
  step_sum function{steps, step_means,
                    scope.take<step_sum::terms>(static_cast<index_t>(steps.size()))};
  const root_bracket bracket = bracket_all(function, latent);
  for (index_t i = 0; i < latent.size(); ++i)
    x[i] = invert_entry(function, latent[i], tolerance, bracket);
}

}  // namespace corvane::model::tanh_warper_detail
