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

// What becomes of a step inside the radius.
enum class verdict { keep_step, move_to_boundary, iterate };

// The move to the boundary is good enough when it costs the model no more than the
// tolerance:
//   tau^2 z'(H + lambda I) z <= sigma (2 - sigma) (lambda r^2 + ||y||^2)
// `interior` says that the step may also be kept as it is; it is, unless the move gains
// more than it costs.
verdict judge_move(const boundary_move& move, double lambda, double radius,
                   double half_solved_squared, bool interior) {
  const double v = lambda * (radius * radius) + half_solved_squared;
  const double bound = v > 0.0 ? norm_tolerance * (2.0 - norm_tolerance) * v : 0.0;
  const double cost = move.tau * move.tau * move.curvature;
  const bool affordable = bound >= cost;
  if (!interior) return affordable ? verdict::move_to_boundary : verdict::iterate;
  return affordable && move.gap * lambda >= cost ? verdict::move_to_boundary
                                                 : verdict::keep_step;
}

// Compares an interior step with the step extended to the boundary, and writes the extended
// one to `step` if it is taken. Otherwise z'(H + lambda I) z bounds the smallest eigenvalue.
verdict settle_inside(subproblem_bounds& bounds, const_symmetric_view factor,
                      const shifted_solution& solution, double lambda, double radius,
                      vector_view work, vector_view step) {
  const bool interior = is_near_boundary(radius, solution.step_norm) || lambda == 0.0;
  const boundary_move move =
      probe_boundary(factor, step, solution.step_squared, radius, work);
  const verdict outcome =
      judge_move(move, lambda, radius, solution.half_solved_squared, interior);
  if (outcome == verdict::move_to_boundary)
    for (index_t i = 0; i < step.size(); ++i) step[i] += move.tau * work[i];
  else
    raise_singular(bounds, lambda - move.curvature);
  return outcome;
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
    if (inside && settle_inside(bounds, factor, solution, lambda, radius, work, step) !=
                      verdict::iterate)
      return model_change(model, step);
    // A zero step has no Newton iterate: 1 / ||p|| is not there.
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
