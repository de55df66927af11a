// SPDX-License-Identifier: BSD-3-Clause
#include "optimization/trust_region_optimizer.h"

#include <algorithm>
#include <cmath>
#include <optional>
#include <utility>

#include "common/scoped_allocator.h"
#include "optimization/stalled_run.h"
#include "optimization/trust_region_measures.h"
#include "optimization/trust_region_step_searcher.h"

namespace corvane {

namespace {

// The state before the first evaluation, unscaled.
trust_region_state make_state(const_vector_view x0, scoped_allocator& scope) {
  const index_t n = x0.size();
  trust_region_state state;
  state.x = x0;
  state.gradient = dense_vector(n);
  state.hessian = symmetric_matrix(n, n);
  state.scale = scope.vector(n);
  std::fill(state.scale.begin(), state.scale.end(), 1.0);
  state.scaled_gradient = state.gradient;
  state.scaled_hessian = state.hessian;
  return state;
}

trust_region_result make_result(trust_region_state&& state, run_end end,
                                bool positive_definite) {
  return {.within_tolerance = end == run_end::within_tolerance,
          .value_change = state.value_change,
          .gradient_max = state.gradient_max,
          .positive_definite = positive_definite,
          .x = std::move(state.x),
          .value = state.value,
          .gradient = std::move(state.gradient),
          .hessian = std::move(state.hessian),
          .end = end,
          .num_iterations = state.num_iterations,
          .num_evaluations = state.num_evaluations};
}

// The first attempt of an iteration: radius and multiplier go on from the last one.
trust_region_step make_attempt(const trust_region_state& state, scoped_allocator& scope) {
  trust_region_step attempt;
  attempt.x_new = scope.vector(state.x.size());
  attempt.step = scope.vector(state.x.size());
  attempt.radius = state.radius;
  attempt.lambda = state.lambda;
  return attempt;
}

// Sets the scaled views of this iteration: D^-1 g and D^-1 H D^-1, or g and H themselves
// when there is nothing to scale by.
void rescale(trust_region_state& state, scoped_allocator& scope) {
  const index_t n = state.x.size();
  if (!compute_scale(state.scale, state.hessian)) {
    std::fill(state.scale.begin(), state.scale.end(), 1.0);
    state.scaled_gradient = state.gradient;
    state.scaled_hessian = state.hessian;
    return;
  }
  state.scaled_gradient = scope.vector(n);
  state.scaled_hessian = scope.symmetric(n);
  for (index_t i = 0; i < n; ++i) {
    state.scaled_gradient[i] = state.gradient[i] / state.scale[i];
    for (index_t j = i; j < n; ++j)
      state.scaled_hessian(i, j) = (state.hessian(i, j) / state.scale[j]) / state.scale[i];
  }
}

// Finds an accepted step and evaluates the derivatives there, in the state's own arrays.
// If no step is accepted, returns the reason as the end of the run; `attempt` then holds x
// and its value.
std::optional<run_end> take_step(trust_region_step_searcher& searcher,
                                 second_order_objective& objective,
                                 trust_region_state& state, trust_region_step& attempt) {
  try {
    searcher.search(searcher, objective, state, attempt);
    if (!objective.compute_gradient_hessian(attempt.x_new, state.gradient, state.hessian))
      throw optimizer_undefined_error{};
    return std::nullopt;
  } catch (const optimizer_trust_region_collapse_error& collapse) {
    attempt.x_new = state.x;
    attempt.value = state.value;
    return collapse.end();
  }
}

class trust_region_optimizer_impl final : public trust_region_optimizer {
 public:
  explicit trust_region_optimizer_impl(const trust_region_optimizer_options& options)
      : options_{options}, step_searcher_{options} {}

  trust_region_result optimize(trust_region_optimizer& self,
                               second_order_objective& objective,
                               const_vector_view x0) override;
  bool step(trust_region_optimizer& self, second_order_objective& objective,
            trust_region_state& state) override;
  trust_region_step_searcher& step_searcher() override { return step_searcher_; }

 private:
  // The stopping test with the measures that the state holds, at its derivatives.
  bool passes_stop_test(const trust_region_state& state) const {
    return stop_test({state.value_change, state.gradient_max}, state.hessian,
                     {options_.tolerance, options_.tolerance2, options_.hessian_floor});
  }

  void observe(const trust_region_state& state) const {
    if (options_.observer == nullptr) return;
    options_.observer->observe_iteration(
        {state.num_iterations, state.value, state.gradient_max, state.radius, state.x});
  }

  trust_region_optimizer_options options_;
  trust_region_step_searcher_impl step_searcher_;
};

trust_region_result trust_region_optimizer_impl::optimize(trust_region_optimizer& self,
                                                          second_order_objective& objective,
                                                          const_vector_view x0) {
  scoped_allocator scope;
  trust_region_state state = make_state(x0, scope);
  if (!objective.compute_value_gradient_hessian(state.x, state.value, state.gradient,
                                                state.hessian))
    throw optimizer_undefined_error{};
  state.num_evaluations = 1;
  if (x0.size() == 0) return make_result(std::move(state), run_end::within_tolerance, true);
  state.radius = initial_radius(state.x);
  observe(state);
  // From here on an optimizer_error becomes the end in a result at the last point.
  try {
    stalled_run stall{state};
    while (!self.step(self, objective, state)) {
      stall.observe(state);
      if (stall.is_idle() || (stall.is_unchanged() && !passes_stop_test(state)))
        throw optimizer_trust_region_collapse_error{run_end::no_decrease};
      if (state.num_iterations >= options_.max_iterations)
        throw optimizer_iteration_limit_error{};
    }
    return make_result(std::move(state), run_end::within_tolerance, true);
  } catch (const optimizer_error& failure) {
    const bool positive_definite =
        hessian_positive_definite(state.hessian, options_.hessian_floor);
    return make_result(std::move(state), failure.end(), positive_definite);
  }
}

bool trust_region_optimizer_impl::step(trust_region_optimizer& self,
                                       second_order_objective& objective,
                                       trust_region_state& state) {
  scoped_allocator scope;
  trust_region_step attempt = make_attempt(state, scope);
  objective.begin_iteration(state.x, state.value, state.gradient, state.hessian);
  objective.adjust_point(state.x, state.value, state.gradient, state.hessian);
  // The hooks may have moved the point: all that follows works on what they left.
  if (is_degenerate(state.gradient, state.hessian)) throw optimizer_degenerate_error{};
  if (options_.scale_variables) rescale(state, scope);

  // The derivatives in the state are those of x_new from here on, its value that of x.
  trust_region_step_searcher& searcher = self.step_searcher();
  const std::optional<run_end> collapse = take_step(searcher, objective, state, attempt);
  state.num_evaluations += attempt.attempts;
  const stop_measures measures = measure_stop(state.value, attempt.value, state.gradient,
                                              state.hessian, options_.hessian_floor);
  state.value_change = measures.value_change;
  state.gradient_max = measures.gradient_max;
  const bool converged = passes_stop_test(state) &&
                         objective.accept_convergence(attempt.x_new, state.value,
                                                      state.gradient, state.hessian);
  // A collapse at a point that passes the test is a solution, to the last digit.
  if (!converged && collapse) throw optimizer_trust_region_collapse_error{*collapse};

  // After a collapse x_new is a view of x itself.
  if (!collapse) state.x = attempt.x_new;
  state.radius = searcher.next_radius(state, attempt);
  state.lambda = attempt.lambda;
  state.value = attempt.value;
  ++state.num_iterations;
  observe(state);
  return converged;
}

}  // namespace

std::unique_ptr<trust_region_optimizer> make_trust_region_optimizer(
    trust_region_optimizer_options options) {
  if (options.tolerance2 == 0.0)
    options.tolerance2 = std::pow(options.tolerance, 0.3333333333333333);
  return std::make_unique<trust_region_optimizer_impl>(options);
}

trust_region_result optimize(trust_region_optimizer& optimizer,
                             second_order_objective& objective, const_vector_view x0) {
  return optimizer.optimize(optimizer, objective, x0);
}

}  // namespace corvane
