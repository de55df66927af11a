// SPDX-License-Identifier: BSD-3-Clause
#include "optimization/objective.h"

#include "common/scoped_allocator.h"

namespace corvane {

bool first_order_objective::compute_value_gradient(const_vector_view x, double& value,
                                                   vector_view gradient) {
  return compute_value(x, value) && compute_gradient(x, gradient);
}

void first_order_objective::prepare_value(const_vector_view /*x*/) {}

void first_order_objective::prepare_grouped_value(const_index_view /*variable_map*/,
                                                  const_vector_view /*x*/) {}

void second_order_objective::begin_iteration(const_vector_view /*x*/, double /*value*/,
                                             const_vector_view /*gradient*/,
                                             const_symmetric_view /*hessian*/) {}

bool second_order_objective::compute_gradient_hessian(const_vector_view x,
                                                      vector_view gradient,
                                                      symmetric_view hessian) {
  return compute_gradient(x, gradient) && compute_hessian(x, hessian);
}

bool second_order_objective::compute_value_gradient_hessian(const_vector_view x,
                                                            double& value,
                                                            vector_view gradient,
                                                            symmetric_view hessian) {
  return compute_value(x, value) && compute_gradient_hessian(x, gradient, hessian);
}

bool second_order_objective::adjust_point(vector_view /*x*/, double& /*value*/,
                                          vector_view /*gradient*/,
                                          symmetric_view /*hessian*/) {
  return false;
}

bool second_order_objective::accept_convergence(const_vector_view /*x*/, double /*value*/,
                                                const_vector_view /*gradient*/,
                                                const_symmetric_view /*hessian*/) {
  return true;
}

bool optimization_objective_helper::compute_gradient(const_vector_view x,
                                                     vector_view gradient) {
  scoped_allocator scope;
  return compute_gradient_hessian(x, gradient, scope.symmetric(x.size()));
}

bool optimization_objective_helper::compute_hessian(const_vector_view x,
                                                    symmetric_view hessian) {
  scoped_allocator scope;
  return compute_gradient_hessian(x, scope.vector(x.size()), hessian);
}

}  // namespace corvane
