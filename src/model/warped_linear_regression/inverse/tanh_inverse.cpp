// SPDX-License-Identifier: BSD-3-Clause
#include "model/warped_linear_regression/inverse/tanh_inverse.h"

#include <algorithm>
#include <cmath>
#include <limits>
#include <stdexcept>

#include "common/finite.h"
#include "common/scoped_allocator.h"
#include "model/warped_linear_regression/inverse/root_solver.h"
#include "model/warped_linear_regression/inverse/step_inverse_batch.h"
#include "model/warped_linear_regression/inverse/step_inverse_table.h"
#include "model/warped_linear_regression/inverse/step_sum.h"

namespace corvane::model::tanh_warper_detail {

namespace {

// Beyond this limit the rounding of f prevents convergence, and bisection takes over.
constexpr std::int64_t max_iterations = 200;

// Fewer latents are solved one after the other, without a table.
constexpr index_t smallest_batch = 80;

constexpr index_t coarse_cells = 64;
constexpr index_t most_cells = 4096;
constexpr index_t latents_per_cell = 16;

// A point where f is beyond `extreme`, on the side of `step`, by steps from 0 that grow by
// a tenth. As f(x) - f(0) is at least as large as x, any finite extreme is reached; it
// starts at a normal number, since a tenth of a subnormal one may round to none, and ends
// at the largest double.
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

struct latent_range {
  double smallest;
  double largest;
};

latent_range measure_range(const_vector_view latent) {
  const auto [smallest, largest] = std::minmax_element(latent.begin(), latent.end());
  return {*smallest, *largest};
}

root_bracket bracket_all(step_sum& function, const latent_range& range) {
  const double at_zero = function.value(0.0);
  const double slope = function.derivative(0.0);
  const auto end_for = [&](double extreme) {
    return expand(function, (extreme - at_zero) / slope, extreme);
  };
  const double upper = range.largest > at_zero ? end_for(range.largest) : 0.0;
  const double lower = at_zero > range.smallest ? end_for(range.smallest) : 0.0;
  root_bracket bracket;
  bracket.initialize(lower, upper, -1.0, 1.0);
  return bracket;
}

// Bisection down to neighbouring doubles; returns the one with the smaller residual.
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

class step_inversion {
 public:
  // Of latents, at least one, that are finite.
  step_inversion(std::span<const step_coefficients> steps, const_vector_view step_means,
                 const_vector_view latent, double tolerance)
      : latent_{latent},
        tolerance_{tolerance},
        function_{scope_, steps, step_means},
        range_{measure_range(latent)},
        bracket_{bracket_all(function_, range_)},
        batch_{scope_, steps, step_means, bracket_} {}

  // The iteration of the batch determines nearly all digits of an inverse, whatever point
  // nearby it starts from.
  void run(vector_view x) {
    if (latent_.size() < smallest_batch)
      for (index_t i = 0; i < latent_.size(); ++i) x[i] = find_near(latent_[i]);
    else
      make_table().interpolate(latent_, x);
    batch_.solve(latent_, tolerance_, x);
    for (index_t i = 0; i < latent_.size(); ++i)
      if (std::isnan(x[i])) x[i] = find(latent_[i]);
  }

 private:
  // Within the tolerance.
  double find_near(double target) {
    const solver_options options{.tolerance = tolerance_, .max_iterations = max_iterations};
    try {
      return find_root(options, function_, target, target, bracket_);
    } catch (const solver_error&) {
      // Rounding of f, or overflow within a step, kept the iterates from the tolerance.
      if (!(tolerance_ > 0.0)) throw;
      return find_closest(function_, target, bracket_);
    }
  }

  double find(double target) {
    double x = find_near(target);
    batch_.solve({&target, 1}, tolerance_, {&x, 1});
    return std::isnan(x) ? find_closest(function_, target, bracket_) : x;
  }

  // A coarse table from the solver, and a fine one from the coarse one.
  step_inverse_table make_table() {
    step_inverse_table coarse{scope_, range_.smallest, range_.largest, coarse_cells};
    const vector_view x = scope_.vector(coarse.num_knots());
    for (index_t j = 0; j < x.size(); ++j) x[j] = find_near(coarse.knot(j));
    batch_.fill_table(coarse, x);
    const index_t num_cells =
        std::clamp(latent_.size() / latents_per_cell, coarse_cells, most_cells);
    step_inverse_table fine{scope_, range_.smallest, range_.largest, num_cells};
    batch_.fill_table(fine, coarse);
    return fine;
  }

  scoped_allocator scope_;
  const_vector_view latent_;
  double tolerance_;
  step_sum function_;
  latent_range range_;
  root_bracket bracket_;
  step_inverse_batch batch_;
};

}  // namespace

void invert_steps(std::span<const step_coefficients> steps, const_vector_view step_means,
                  const_vector_view latent, double tolerance, vector_view x) {
  if (!all_finite(latent))
    throw std::runtime_error("cannot invert a latent value that is not finite");
  if (latent.size() > 0) step_inversion{steps, step_means, latent, tolerance}.run(x);
}

}  // namespace corvane::model::tanh_warper_detail
