// SPDX-License-Identifier: BSD-3-Clause
#include "model/ridge_regression/scores/ridge_score_objective.h"

#include <utility>

#include "common/finite.h"

namespace corvane::model::ridge_regression_detail {

bool ridge_outputs::all_finite() const {
  return (value == nullptr || is_finite(*value)) &&
         (!gradient || corvane::all_finite(*gradient)) &&
         (!hessian || corvane::all_finite(const_symmetric_view{*hessian}));
}

// Each operation names what it wants written: the value, the gradient, the Hessian.
bool ridge_evaluation::compute_value(const_vector_view x, double& value) {
  return evaluate(x, {&value, {}, {}});
}

bool ridge_evaluation::compute_gradient(const_vector_view x, vector_view gradient) {
  return evaluate(x, {nullptr, gradient, {}});
}

bool ridge_evaluation::compute_value_gradient(const_vector_view x, double& value,
                                              vector_view gradient) {
  return evaluate(x, {&value, gradient, {}});
}

bool ridge_evaluation::compute_hessian(const_vector_view x, symmetric_view hessian) {
  return evaluate(x, {nullptr, {}, hessian});
}

bool ridge_evaluation::compute_gradient_hessian(const_vector_view x, vector_view gradient,
                                                symmetric_view hessian) {
  return evaluate(x, {nullptr, gradient, hessian});
}

bool ridge_evaluation::compute_value_gradient_hessian(const_vector_view x, double& value,
                                                      vector_view gradient,
                                                      symmetric_view hessian) {
  return evaluate(x, {&value, gradient, hessian});
}

ridge_score_objective::ridge_score_objective(ridge_system&& system)
    : system_{std::move(system)} {}

bool ridge_score_objective::evaluate(const_vector_view t, const ridge_outputs& wanted) {
  return evaluate_groups(t, penalty_groups{t.size()}, wanted);
}

bool ridge_score_objective::compute_weights(const_vector_view t, vector_view weights) {
  return solve_ridge_weights(system_, t, weights);
}

}  // namespace corvane::model::ridge_regression_detail
