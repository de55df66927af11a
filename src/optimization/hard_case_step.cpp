// SPDX-License-Identifier: BSD-3-Clause
//
// The search uses no estimate of the smallest eigenvalue beyond its start, only whether a
// factorization succeeds and how long its step is. Both loops are bounded.
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
  const double scale = std::max({bounds.hessian_norm, std::abs(bounds.lambda_singular),
                                 bounds.gradient_norm / model.radius});
  return std::max(double_epsilon * scale, std::numeric_limits<double>::min());
}

// Factorizes and solves for a multiplier; nothing when the factorization fails or the step
// leaves the region.
std::optional<shifted_solution> solve_within(const trust_region_model& model, double lambda,
                                             symmetric_view factor, vector_view step) {
  if (factorize_shifted(model.hessian, lambda, factor)) return std::nullopt;
  const shifted_solution solution = solve_shifted(model, factor, step);
  if (!(solution.step_norm <= model.radius)) return std::nullopt;
  return solution;
}

struct multiplier {
  double lambda;
  shifted_solution solution;
};

// The smallest multiplier above max(lambda_singular, 0) whose step lies within the region,
// or one whose step is near the boundary. The increment on that bound grows until a step
// lies within or the range of doubles ends, and is then bisected. Leaves factor and step.
std::optional<multiplier> find_interior(const trust_region_model& model,
                                        const subproblem_bounds& bounds,
                                        symmetric_view factor, vector_view step) {
  constexpr double growth = 4.0;
  constexpr int halvings = 50;
  constexpr double near = 0.9;
  const double lower = std::max(bounds.lambda_singular, 0.0);
  double below = 0.0;
  double within = smallest_margin(model, bounds);
  std::optional<shifted_solution> found;
  while (is_finite(lower + within)) {
    found = solve_within(model, lower + within, factor, step);
    if (found) break;
    below = within;
    within *= growth;
  }
  if (!found) return std::nullopt;
  for (int k = 0; k < halvings && below > 0.0 && found->step_norm < near * model.radius;
       ++k) {
    const double middle = std::sqrt(below) * std::sqrt(within);
    if (const auto solution = solve_within(model, lower + middle, factor, step)) {
      within = middle;
      found = solution;
    } else {
      below = middle;
    }
  }
  solve_within(model, lower + within, factor, step);
  return multiplier{lower + within, *found};
}

}  // namespace

double take_hard_case_step(const trust_region_model& model, const subproblem_bounds& bounds,
                           double& lambda, vector_view step) {
  scoped_allocator scope;
  const index_t n = step.size();
  const vector_view inside = scope.vector(n);
  const vector_view moved = scope.vector(n);
  const symmetric_view factor = scope.symmetric(n);
  std::fill(step.begin(), step.end(), 0.0);
  if (!can_be_evaluated(model, bounds)) return std::numeric_limits<double>::quiet_NaN();
  const std::optional<multiplier> found = find_interior(model, bounds, factor, inside);
  if (!found) return std::numeric_limits<double>::quiet_NaN();

  const boundary_move move =
      probe_boundary(factor, inside, found->solution.step_squared, model.radius, moved);
  for (index_t i = 0; i < n; ++i) moved[i] = inside[i] + move.tau * moved[i];
  double best = 0.0;
  for (const const_vector_view candidate : {inside, moved}) {
    const double change = model_change(model, candidate);
    if (!(change < best)) continue;
    best = change;
    lambda = found->lambda;
    std::copy(candidate.begin(), candidate.end(), step.begin());
  }
  return best;
}

}  // namespace corvane
