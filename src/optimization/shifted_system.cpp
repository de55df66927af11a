// SPDX-License-Identifier: BSD-3-Clause
#include "optimization/shifted_system.h"

#include <algorithm>
#include <cmath>

#include "common/linear_algebra.h"
#include "common/scoped_allocator.h"
#include "optimization/null_vector_estimation.h"

namespace corvane {

double model_change(const trust_region_model& model, const_vector_view step) {
  scoped_allocator scope;
  const vector_view product = scope.vector(step.size());  // H p
  symv(1.0, model.hessian, step, 0.0, product);
  return dot(model.gradient, step) + 0.5 * dot(step, product);
}

std::optional<index_t> factorize_shifted(const_symmetric_view H, double lambda,
                                         symmetric_view factor) {
  const index_t n = H.rows();
  copy_lower(H, factor);
  for (index_t i = 0; i < n; ++i) factor(i, i) = lambda + H(i, i);
  const index_t status = potrf(factor);
  if (status == 0 || status - 1 == n) return std::nullopt;
  return status - 1;
}

shifted_solution solve_shifted(const trust_region_model& model, const_symmetric_view factor,
                               vector_view step) {
  std::transform(model.gradient.begin(), model.gradient.end(), step.begin(),
                 [](double slope) { return -slope; });
  trsv(triangle::lower, plain, factor, step);
  const double half_solved_squared = dot(step, step);
  trsv(triangle::lower, transposed, factor, step);
  const double step_squared = dot(step, step);
  return {half_solved_squared, step_squared, std::sqrt(step_squared)};
}

boundary_move probe_boundary(const_symmetric_view factor, const_vector_view step,
                             double step_squared, double radius, vector_view z) {
  scoped_allocator scope;
  sign_vector(factor, z);
  trsv(triangle::lower, transposed, factor, z);
  const double length = norm(z);
  for (double& entry : z) entry /= length;

  // tau^2 + 2 tau z'p = gap, in the form that does not cancel.
  const double overlap = dot(z, step);
  const double gap = radius * radius - step_squared;
  const double tau =
      gap / (overlap + std::copysign(std::sqrt(overlap * overlap + gap), overlap));

  const vector_view image = scope.vector(z.size());  // L'z
  std::copy(z.begin(), z.end(), image.begin());
  trmv(triangle::lower, transposed, factor, image);
  return {tau, gap, dot(image, image)};
}

double newton_multiplier(const_symmetric_view factor, const_vector_view step,
                         double step_norm, double lambda, double radius, vector_view work) {
  std::copy(step.begin(), step.end(), work.begin());
  trsv(triangle::lower, plain, factor, work);
  // ||p||^2 / ||q||^2 with L q = p is minus the inverse slope of ||p(lambda)||, times
  // ||p||.
  const double scale = step_norm / norm(work);
  return lambda + scale * scale * (step_norm - radius) / radius;
}

}  // namespace corvane
