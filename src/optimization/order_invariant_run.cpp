// SPDX-License-Identifier: BSD-3-Clause
#include "optimization/order_invariant_run.h"

#include "common/scoped_allocator.h"
#include "optimization/slope_order.h"
#include "optimization/variable_order.h"

namespace corvane {

namespace {

struct evaluation {
  double value;
  vector_view gradient;
  symmetric_view hessian;
};

// The objective, its variables in the order of the run. Hands out what is known of the
// start point when it is first asked.
class reordered_objective final : public optimization_objective_helper {
 public:
  reordered_objective(second_order_objective& objective, variable_order order,
                      const evaluation& start)
      : objective_{objective}, order_{order}, start_{start} {}

  bool compute_value(const_vector_view x, double& value) override {
    scoped_allocator scope;
    return objective_.compute_value(point(x, scope), value);
  }

  bool compute_gradient_hessian(const_vector_view x, vector_view gradient,
                                symmetric_view hessian) override {
    scoped_allocator scope;
    const vector_view own_gradient = scope.vector(x.size());
    const symmetric_view own_hessian = scope.symmetric(x.size());
    if (!objective_.compute_gradient_hessian(point(x, scope), own_gradient, own_hessian))
      return false;
    to_run(order_, own_gradient, gradient);
    to_run(order_, own_hessian, hessian);
    return true;
  }

  // Asked once by a run, and at its start.
  bool compute_value_gradient_hessian(const_vector_view /*x*/, double& value,
                                      vector_view gradient,
                                      symmetric_view hessian) override {
    value = start_.value;
    to_run(order_, start_.gradient, gradient);
    to_run(order_, start_.hessian, hessian);
    return true;
  }

  void prepare_value(const_vector_view x) override {
    scoped_allocator scope;
    objective_.prepare_value(point(x, scope));
  }

  void begin_iteration(const_vector_view x, double value, const_vector_view gradient,
                       const_symmetric_view hessian) override {
    scoped_allocator scope;
    const own_state state = state_of(x, gradient, hessian, scope);
    objective_.begin_iteration(state.x, value, state.gradient, state.hessian);
  }

  bool adjust_point(vector_view x, double& value, vector_view gradient,
                    symmetric_view hessian) override {
    scoped_allocator scope;
    const own_state state = state_of(x, gradient, hessian, scope);
    const bool adjusted =
        objective_.adjust_point(state.x, value, state.gradient, state.hessian);
    to_run(order_, state.x, x);
    to_run(order_, state.gradient, gradient);
    to_run(order_, state.hessian, hessian);
    return adjusted;
  }

  bool accept_convergence(const_vector_view x, double value, const_vector_view gradient,
                          const_symmetric_view hessian) override {
    scoped_allocator scope;
    const own_state state = state_of(x, gradient, hessian, scope);
    return objective_.accept_convergence(state.x, value, state.gradient, state.hessian);
  }

 private:
  // In the caller's order, in scratch memory.
  struct own_state {
    vector_view x;
    vector_view gradient;
    symmetric_view hessian;
  };

  vector_view point(const_vector_view x, scoped_allocator& scope) const {
    const vector_view own = scope.vector(x.size());
    to_caller(order_, x, own);
    return own;
  }

  own_state state_of(const_vector_view x, const_vector_view gradient,
                     const_symmetric_view hessian, scoped_allocator& scope) const {
    const own_state state{point(x, scope), point(gradient, scope),
                          scope.symmetric(x.size())};
    to_caller(order_, hessian, state.hessian);
    return state;
  }

  second_order_objective& objective_;
  variable_order order_;
  evaluation start_;
};

}  // namespace

trust_region_result optimize_order_invariantly(trust_region_optimizer& optimizer,
                                               second_order_objective& objective,
                                               const_vector_view x0,
                                               run_observer* observer) {
  const index_t n = x0.size();
  if (n < 2) return optimize(optimizer, objective, x0);
  scoped_allocator scope;
  evaluation start{0.0, scope.vector(n), scope.symmetric(n)};
  if (!objective.compute_value_gradient_hessian(x0, start.value, start.gradient,
                                                start.hessian))
    throw optimizer_undefined_error{};
  index_vector order(n);
  order_by_slope(start.gradient, order.data());
  if (observer != nullptr) observer->set_order(order);

  reordered_objective reordered{objective, order, start};
  const vector_view reordered_x0 = scope.vector(n);
  to_run(order, x0, reordered_x0);
  trust_region_result result = optimize(optimizer, reordered, reordered_x0);

  // The arrays of the start point have served, and take the result.
  to_caller(order, result.x, reordered_x0);
  to_caller(order, result.gradient, start.gradient);
  to_caller(order, result.hessian, start.hessian);
  result.x = reordered_x0;
  result.gradient = start.gradient;
  result.hessian = const_symmetric_view{start.hessian};
  return result;
}

}  // namespace corvane
