// SPDX-License-Identifier: BSD-3-Clause
#include "model/ridge_regression/scores/ridge_regression_objective.h"

#include <utility>

#include "common/finite.h"
#include "common/scoped_allocator.h"

namespace corvane::model::ridge_regression_detail {

bool ridge_outputs::all_finite() const {
  return (value == nullptr || is_finite(*value)) &&
         (!gradient || corvane::all_finite(*gradient)) &&
         (!hessian || corvane::all_finite(const_symmetric_view{*hessian}));
}

// Each operation names its outputs: the value, the gradient, the Hessian.
bool ridge_regression_objective::compute_value(const_vector_view x, double& value) {
  return evaluate_point(x, {&value, {}, {}});
}

bool ridge_regression_objective::compute_gradient(const_vector_view x,
                                                  vector_view gradient) {
  return evaluate_point(x, {nullptr, gradient, {}});
}

bool ridge_regression_objective::compute_value_gradient(const_vector_view x, double& value,
                                                        vector_view gradient) {
  return evaluate_point(x, {&value, gradient, {}});
}

bool ridge_regression_objective::compute_hessian(const_vector_view x,
                                                 symmetric_view hessian) {
  return evaluate_point(x, {nullptr, {}, hessian});
}

bool ridge_regression_objective::compute_gradient_hessian(const_vector_view x,
                                                          vector_view gradient,
                                                          symmetric_view hessian) {
  return evaluate_point(x, {nullptr, gradient, hessian});
}

bool ridge_regression_objective::compute_value_gradient_hessian(const_vector_view x,
                                                                double& value,
                                                                vector_view gradient,
                                                                symmetric_view hessian) {
  return evaluate_point(x, {&value, gradient, hessian});
}

ridge_regression_objective::ridge_regression_objective(ridge_system&& system)
    : system_{std::move(system)} {}

void ridge_regression_objective::set_groups(index_vector&& of_column) {
  groups_.emplace(std::move(of_column));
}

const_vector_view ridge_regression_objective::column_roots(scoped_allocator& scope,
                                                           const_vector_view x) const {
  if (!groups_) return x;
  const vector_view t = scope.vector(groups_->columns());
  groups_->expand(x, t);
  return t;
}

bool ridge_regression_objective::evaluate_point(const_vector_view x,
                                                const ridge_outputs& wanted) {
  scoped_allocator scope;
  const penalty_groups alone{x.size()};
  return evaluate(column_roots(scope, x), groups_ ? *groups_ : alone, wanted);
}

bool ridge_regression_objective::compute_weights(const_vector_view x, vector_view weights) {
  scoped_allocator scope;
  return solve_ridge_weights(system_, column_roots(scope, x), weights);
}

}  // namespace corvane::model::ridge_regression_detail
