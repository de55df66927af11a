// SPDX-License-Identifier: BSD-3-Clause
#include "optimization/interface_only/grouped_variable_objective.h"

#include <algorithm>
#include <memory>
#include <utility>

#include "common/compensated_sum.h"
#include "common/scoped_allocator.h"

namespace corvane {

namespace {

// `count` sums at zero in scratch memory.
compensated_sum* take_sums(scoped_allocator& scope, index_t count) {
  auto* sums = scope.take<compensated_sum>(count, alignof(compensated_sum));
  std::uninitialized_fill_n(sums, count, compensated_sum{});
  return sums;
}

}  // namespace

grouped_variable_objective::grouped_variable_objective(
    index_vector&& variable_map, std::shared_ptr<second_order_objective>&& objective)
    : variable_map_{std::move(variable_map)}, objective_{std::move(objective)} {}

void grouped_variable_objective::expand(const_vector_view x, vector_view parameters) const {
  for (index_t i = 0; i < variable_map_.size(); ++i) parameters[i] = x[variable_map_[i]];
}

bool grouped_variable_objective::compute_value(const_vector_view x, double& value) {
  dense_vector parameters(num_parameters());
  expand(x, parameters);
  return objective_->compute_value(parameters, value);
}

bool grouped_variable_objective::compute_gradient(const_vector_view x,
                                                  vector_view gradient) {
  scoped_allocator scope;
  const vector_view parameters = scope.vector(num_parameters());
  const vector_view full = scope.vector(num_parameters());
  expand(x, parameters);
  if (!objective_->compute_gradient(parameters, full)) return false;
  reduce_gradient(full, gradient);
  return true;
}

bool grouped_variable_objective::compute_value_gradient(const_vector_view x, double& value,
                                                        vector_view gradient) {
  scoped_allocator scope;
  const vector_view parameters = scope.vector(num_parameters());
  const vector_view full = scope.vector(num_parameters());
  expand(x, parameters);
  double full_value = 0.0;
  if (!objective_->compute_value_gradient(parameters, full_value, full)) return false;
  value = full_value;
  reduce_gradient(full, gradient);
  return true;
}

bool grouped_variable_objective::compute_hessian(const_vector_view x,
                                                 symmetric_view hessian) {
  scoped_allocator scope;
  const vector_view parameters = scope.vector(num_parameters());
  const symmetric_view full = scope.symmetric(num_parameters());
  expand(x, parameters);
  if (!objective_->compute_hessian(parameters, full)) return false;
  reduce_hessian(full, hessian);
  return true;
}

bool grouped_variable_objective::compute_gradient_hessian(const_vector_view x,
                                                          vector_view gradient,
                                                          symmetric_view hessian) {
  scoped_allocator scope;
  const vector_view parameters = scope.vector(num_parameters());
  const vector_view full_gradient = scope.vector(num_parameters());
  const symmetric_view full_hessian = scope.symmetric(num_parameters());
  expand(x, parameters);
  if (!objective_->compute_gradient_hessian(parameters, full_gradient, full_hessian))
    return false;
  reduce_gradient(full_gradient, gradient);
  reduce_hessian(full_hessian, hessian);
  return true;
}

bool grouped_variable_objective::compute_value_gradient_hessian(const_vector_view x,
                                                                double& value,
                                                                vector_view gradient,
                                                                symmetric_view hessian) {
  scoped_allocator scope;
  const vector_view parameters = scope.vector(num_parameters());
  const vector_view full_gradient = scope.vector(num_parameters());
  const symmetric_view full_hessian = scope.symmetric(num_parameters());
  expand(x, parameters);
  double full_value = 0.0;
  if (!objective_->compute_value_gradient_hessian(parameters, full_value, full_gradient,
                                                  full_hessian))
    return false;
  value = full_value;
  reduce_gradient(full_gradient, gradient);
  reduce_hessian(full_hessian, hessian);
  return true;
}

void grouped_variable_objective::prepare_value(const_vector_view x) {
  objective_->prepare_grouped_value(variable_map_, x);
}

void grouped_variable_objective::reduce_gradient(const_vector_view full,
                                                 vector_view gradient) const {
  scoped_allocator scope;
  compensated_sum* sums = take_sums(scope, gradient.size());
  for (index_t i = 0; i < full.size(); ++i) sums[variable_map_[i]].add(full[i]);
  for (index_t g = 0; g < gradient.size(); ++g) gradient[g] = sums[g].total();
}

// The stored entry (i, j) stands for (j, i) too. Of two parameters of one group both count;
// of two groups one falls into each triangle, and the one that is read gets it.
void grouped_variable_objective::reduce_hessian(const_symmetric_view full,
                                                symmetric_view hessian) const {
  scoped_allocator scope;
  const index_t k = hessian.rows();
  compensated_sum* sums = take_sums(scope, k * k);
  for (index_t i = 0; i < full.rows(); ++i)
    for (index_t j = i; j < full.rows(); ++j) {
      const index_t row = std::min(variable_map_[i], variable_map_[j]);
      const index_t column = std::max(variable_map_[i], variable_map_[j]);
      const double entry = full(i, j);
      sums[row * k + column].add(i != j && row == column ? 2.0 * entry : entry);
    }
  for (index_t row = 0; row < k; ++row)
    for (index_t column = row; column < k; ++column)
      hessian(row, column) = sums[row * k + column].total();
}

}  // namespace corvane
