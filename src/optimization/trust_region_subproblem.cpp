// SPDX-License-Identifier: BSD-3-Clause
#include "optimization/trust_region_subproblem.h"

#include <cmath>
#include <optional>

#include "common/scoped_allocator.h"
#include "optimization/endless_rounds.h"
#include "optimization/hard_case_step.h"
#include "optimization/null_vector_estimation.h"
#include "optimization/shifted_system.h"

namespace corvane {

namespace {

// A step whose norm is within this fraction of the radius lies on the boundary.
constexpr double norm_tolerance = 0.1;

bool is_near_boundary(double radius, double step_norm) {
  return norm_tolerance * radius >= std::abs(radius - step_norm);
}

// What to do with a step p inside the radius.
enum class inside_action { keep_step, move_to_boundary, iterate };

// The step p + tau z on the boundary is nearly optimal if
//   tau^2 z'(H + lambda I) z <= sigma (2 - sigma) (lambda r^2 + ||y||^2)
// and changes the model by (tau^2 z'(H + lambda I) z - lambda (r^2 - ||p||^2)) / 2. Where p
// `can_be_kept`, the step is moved only if it is then nearly optimal and the model does not
// increase.
inside_action choose_action(const boundary_move& move, double lambda, double radius,
                            double half_solved_squared, bool can_be_kept) {
  const double v = lambda * (radius * radius) + half_solved_squared;
  const double bound = v > 0.0 ? norm_tolerance * (2.0 - norm_tolerance) * v : 0.0;
  const double increase = move.tau * move.tau * move.curvature;
  const bool nearly_optimal = bound >= increase;
  if (!can_be_kept)
    return nearly_optimal ? inside_action::move_to_boundary : inside_action::iterate;
  return nearly_optimal && move.gap * lambda >= increase ? inside_action::move_to_boundary
                                                         : inside_action::keep_step;
}

// Compares an interior step with the step extended to the boundary, and writes the extended
// one to `step` if it is taken. Otherwise z'Hz, as ||z|| = 1, bounds the smallest
// eigenvalue.
inside_action handle_inside_step(subproblem_bounds& bounds, const_symmetric_view factor,
                                 const shifted_solution& solution, double lambda,
                                 double radius, vector_view work, vector_view step) {
  const bool can_be_kept = is_near_boundary(radius, solution.step_norm) || lambda == 0.0;
  const boundary_move move =
      probe_boundary(factor, step, solution.step_squared, radius, work);
  const inside_action action =
      choose_action(move, lambda, radius, solution.half_solved_squared, can_be_kept);
  if (action == inside_action::move_to_boundary)
    for (index_t i = 0; i < step.size(); ++i) step[i] += move.tau * work[i];
  else
    raise_singular(bounds, lambda - move.curvature);
  return action;
}

}  // namespace

double subproblem_solver_impl::solve(subproblem_bounds& bounds, const_vector_view g,
                                     double& lambda, double radius, const_symmetric_view H,
                                     vector_view step) {
  scoped_allocator scope;
  const vector_view work = scope.vector(g.size());
  const symmetric_view factor = scope.symmetric(g.size());
  const trust_region_model model{g, H, radius};
  endless_rounds rounds{bounds};
  lambda = safeguard(bounds, lambda);
  while (!rounds.recognized(bounds)) {
    // lambda <= -lambda_min(H): the failing pivot says by how much at least.
    if (const std::optional<index_t> pivot = factorize_shifted(H, lambda, factor)) {
      raise_singular(bounds, pivot_bound(*pivot, lambda, H, factor));
      lambda = safeguard(bounds, lambda);
      continue;
    }
    const shifted_solution solution = solve_shifted(model, factor, step);
    narrow_bounds(bounds, lambda, solution.step_norm, radius);
    // False of a NaN, as `is_near_boundary` is: the round then ends in the bracket alone.
    const bool inside = radius > solution.step_norm;
    if (!inside && is_near_boundary(radius, solution.step_norm))
      return model_change(model, step);
    if (inside && handle_inside_step(bounds, factor, solution, lambda, radius, work,
                                     step) != inside_action::iterate)
      return model_change(model, step);
    // A zero step has no Newton iterate: 1 / ||p|| is undefined.
    if (solution.step_norm == 0.0) {
      lambda = bounds.lambda_singular;
    } else {
      lambda = safeguard(bounds, newton_multiplier(factor, step, solution.step_norm, lambda,
                                                   radius, work));
    }
    lambda = safeguard(bounds, lambda);
  }
  return take_hard_case_step(model, bounds, lambda, step);
}

double subproblem_solver_impl::resolve(subproblem_bounds& bounds, const_vector_view g,
                                       double& lambda, double radius,
                                       const_symmetric_view H, vector_view step) {
  shrink_bounds(bounds, radius, lambda);
  return solve(bounds, g, lambda, radius, H, step);
}

}  // namespace corvane
