// SPDX-License-Identifier: BSD-3-Clause
#include "optimization/trust_region_step_searcher.h"

#include <algorithm>
#include <cmath>

#include "common/finite.h"
#include "common/linear_algebra.h"
#include "optimization/optimizer_error.h"

namespace corvane {

namespace {

// Solves the subproblem of this attempt: step, step_norm, lambda and predicted.
void propose_step(corvane::subproblem_solver& solver, subproblem_bounds& bounds,
                  const trust_region_state& state, trust_region_step& attempt) {
  const auto solve =
      attempt.attempts == 0 ? &subproblem_solver::solve : &subproblem_solver::resolve;
  attempt.predicted = (solver.*solve)(bounds, state.scaled_gradient, attempt.lambda,
                                      attempt.radius, state.scaled_hessian, attempt.step);
  ++attempt.attempts;
  attempt.step_norm = norm(attempt.step);
}

// x_new = x + D^-1 step, with the scales D
void write_trial_point(const trust_region_state& state, const trust_region_step& attempt) {
  for (index_t i = 0; i < attempt.step.size(); ++i)
    attempt.x_new[i] = attempt.step[i] / state.scale[i] + state.x[i];
}

// The arithmetic could not see this change of the value.
bool is_negligible(double change, double value) {
  const double relative = value == 0.0 ? change : change / value;
  return std::abs(relative) < 10.0 * double_epsilon;
}

}  // namespace

trust_region_step_searcher_impl::trust_region_step_searcher_impl(
    const trust_region_optimizer_options& options)
    : accept_threshold_{options.accept_threshold},
      shrink_threshold_{options.shrink_threshold},
      grow_threshold_{options.grow_threshold},
      shrink_factor_{options.shrink_factor},
      grow_factor_{options.grow_factor},
      observer_{options.observer} {}

void trust_region_step_searcher_impl::search(trust_region_step_searcher& self,
                                             second_order_objective& objective,
                                             const trust_region_state& state,
                                             trust_region_step& attempt) {
  subproblem_bounds bounds;
  initialize_bounds(bounds, attempt.radius, state.scaled_gradient, state.scaled_hessian);
  check(observer_);
  while (!self.try_step(self, objective, bounds, state, attempt)) {
    attempt.radius = self.shrunk_radius(state, attempt);
    // A radius of zero, or NaN, stays so: every further attempt would be the same.
    if (!(attempt.radius > 0.0)) throw optimizer_trust_region_collapse_error{};
    check(observer_);
  }
}

bool trust_region_step_searcher_impl::try_step(trust_region_step_searcher& self,
                                               second_order_objective& objective,
                                               subproblem_bounds& bounds,
                                               const trust_region_state& state,
                                               trust_region_step& attempt) {
  propose_step(self.subproblem_solver(), bounds, state, attempt);
  write_trial_point(state, attempt);
  objective.prepare_value(attempt.x_new);
  const bool defined = objective.compute_value(attempt.x_new, attempt.value);
  if (defined) {
    attempt.actual = attempt.value - state.value;
    attempt.ratio = attempt.predicted == 0.0 ? 1.0 : attempt.actual / attempt.predicted;
    if (attempt.ratio > accept_threshold_) return true;
  }
  // A prediction that is no number cannot be compared with: no shorter step would help.
  if (!is_finite(attempt.predicted)) throw optimizer_trust_region_collapse_error{};
  if (!is_negligible(attempt.predicted, state.value)) return false;
  // Where the value agrees that nothing changes there is nothing left to gain. Otherwise it
  // jumps beside the current point, is undefined there, or is computed with less precision.
  throw optimizer_trust_region_collapse_error{
      defined && is_negligible(attempt.actual, state.value)
          ? run_end::no_decrease
          : run_end::trust_region_collapsed};
}

double trust_region_step_searcher_impl::shrunk_radius(const trust_region_state& /*state*/,
                                                      const trust_region_step& attempt) {
  return std::min(attempt.step_norm, attempt.radius) * shrink_factor_;
}

double trust_region_step_searcher_impl::next_radius(const trust_region_state& state,
                                                    const trust_region_step& attempt) {
  // With lambda 0 the step is Newton's own: a larger region would not change it.
  if (attempt.ratio > grow_threshold_ && attempt.lambda != 0.0)
    return attempt.radius * grow_factor_;
  if (attempt.ratio < shrink_threshold_) return shrunk_radius(state, attempt);
  return attempt.radius;
}

}  // namespace corvane
