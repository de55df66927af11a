// SPDX-License-Identifier: BSD-3-Clause
#include "model/linear_linked_regression/detail/special_case_objective.h"

#include <algorithm>

#include "common/matrix_block.h"
#include "common/scoped_allocator.h"

namespace corvane::model::linear_linked_regression_detail {

dense_vector special_case_objective::expand(const_vector_view x) const {
  dense_vector theta{num_hyperparameters_};
  std::fill(theta.begin(), theta.end(), 0.0);
  std::copy(x.begin(), x.end(), theta.begin() + free_.first);
  return theta;
}

void special_case_objective::reduce(const_vector_view gradient,
                                    const_symmetric_view hessian, vector_view free_gradient,
                                    symmetric_view free_hessian) const {
  for (index_t j = 0; j < free_.size; ++j) {
    free_gradient[j] = gradient[free_.first + j];
    for (index_t i = j; i < free_.size; ++i)
      free_hessian(i, j) = hessian(free_.first + i, free_.first + j);
  }
}

bool special_case_objective::compute_value(const_vector_view x, double& value) {
  return whole_.compute_value(expand(x), value);
}

bool special_case_objective::compute_gradient_hessian(const_vector_view x,
                                                      vector_view gradient,
                                                      symmetric_view hessian) {
  scoped_allocator scratch;
  const vector_view whole_gradient = scratch.vector(num_hyperparameters_);
  const symmetric_view whole_hessian = scratch.symmetric(num_hyperparameters_);
  if (!whole_.compute_gradient_hessian(expand(x), whole_gradient, whole_hessian))
    return false;
  reduce(whole_gradient, whole_hessian, gradient, hessian);
  return true;
}

// The whole objective looks at theta alone here.
void special_case_objective::begin_iteration(const_vector_view x, double value,
                                             const_vector_view gradient,
                                             const_symmetric_view hessian) {
  whole_.begin_iteration(expand(x), value, gradient, hessian);
}

// Derivatives along what is zero are not at hand, and a step has no part in that direction:
// zeros stand for them.
bool special_case_objective::adjust_point(vector_view x, double& value,
                                          vector_view gradient, symmetric_view hessian) {
  scoped_allocator scratch;
  dense_vector theta = expand(x);
  const vector_view whole_gradient = scratch.vector(num_hyperparameters_);
  const symmetric_view whole_hessian = scratch.symmetric(num_hyperparameters_);
  std::fill(whole_gradient.begin(), whole_gradient.end(), 0.0);
  fill_lower(whole_hessian, 0.0);
  for (index_t j = 0; j < free_.size; ++j) {
    whole_gradient[free_.first + j] = gradient[j];
    for (index_t i = j; i < free_.size; ++i)
      whole_hessian(free_.first + i, free_.first + j) = hessian(i, j);
  }
  if (!whole_.adjust_point(theta, value, whole_gradient, whole_hessian)) return false;
  for (index_t j = 0; j < free_.size; ++j) x[j] = theta[free_.first + j];
  reduce(whole_gradient, whole_hessian, gradient, hessian);
  return true;
}

}  // namespace corvane::model::linear_linked_regression_detail
