// SPDX-License-Identifier: BSD-3-Clause
#include "optimization/hard_case_step.h"

#include <algorithm>
#include <cmath>
#include <limits>
#include <optional>

#include "common/finite.h"
#include "common/scoped_allocator.h"

namespace corvane {

namespace {

// False where the quantities of the algorithm leave the range of doubles.
bool can_be_evaluated(const trust_region_model& model, const subproblem_bounds& bounds) {
  const double area = model.radius * model.radius;
  return all_finite(model.gradient) && all_finite(model.hessian) &&
         is_finite(bounds.gradient_norm) && is_finite(bounds.hessian_norm) &&
         is_finite(area) && area > 0.0;
}

// The smallest distance above lambda_singular at which a factorization can be hoped for.
double smallest_margin(const trust_region_model& model, const subproblem_bounds& bounds) {
  const double scale = std::max(bounds.hessian_norm, std::abs(bounds.lambda_singular));
  return std::max({double_epsilon * scale,
                   double_epsilon * (bounds.gradient_norm / model.radius),
                   std::numeric_limits<double>::min()});
}

struct interior_solution {
  double lambda;
  double step_squared;
};

// The first multiplier, on a ladder upward from lambda_singular, whose factorization stands
// and whose step lies within the radius. The ladder ends with the range of doubles.
std::optional<interior_solution> climb_to_interior(const trust_region_model& model,
                                                   const subproblem_bounds& bounds,
                                                   symmetric_view factor,
                                                   vector_view step) {
  constexpr double rung = 4.0;
  const double foot = std::max(bounds.lambda_singular, 0.0);
  for (double margin = smallest_margin(model, bounds); is_finite(foot + margin);
       margin *= rung) {
    const double lambda = foot + margin;
    if (factorize_shifted(model.hessian, lambda, factor)) continue;
    const shifted_solution solution = solve_shifted(model, factor, step);
    if (solution.step_norm <= model.radius)
      return interior_solution{lambda, solution.step_squared};
  }
  return std::nullopt;
}

}  // namespace

double take_hard_case_step(const trust_region_model& model, const subproblem_bounds& bounds,
                           double& lambda, vector_view step) {
  scoped_allocator scope;
  const index_t n = step.size();
  const vector_view inside = scope.vector(n);
  const vector_view z = scope.vector(n);
  const symmetric_view factor = scope.symmetric(n);
  std::fill(step.begin(), step.end(), 0.0);
  if (!can_be_evaluated(model, bounds)) return std::numeric_limits<double>::quiet_NaN();
  const std::optional<interior_solution> found =
      climb_to_interior(model, bounds, factor, inside);
  if (!found) return std::numeric_limits<double>::quiet_NaN();

  const boundary_move move =
      probe_boundary(factor, inside, found->step_squared, model.radius, z);
  for (index_t i = 0; i < n; ++i) z[i] = inside[i] + move.tau * z[i];
  double best = 0.0;
  for (const const_vector_view candidate : {inside, z}) {
    const double change = model_change(model, candidate);
    if (!(change < best)) continue;
    best = change;
    lambda = found->lambda;
    std::copy(candidate.begin(), candidate.end(), step.begin());
  }
  return best;
}

}  // namespace corvane
