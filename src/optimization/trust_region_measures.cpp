// SPDX-License-Identifier: BSD-3-Clause
#include "optimization/trust_region_measures.h"

#include <algorithm>
#include <cmath>

#include "common/finite.h"
#include "common/linear_algebra.h"
#include "common/scoped_allocator.h"

namespace corvane {

double initial_radius(const_vector_view x) {
  const double length = norm(x);
  return x.size() < 1 || length < double_epsilon ? 0.001 : 0.25 * length;
}

bool compute_scale(vector_view scale, const_symmetric_view hessian) {
  const strided_view<const double> curvature = diagonal(hessian);
  double smallest = largest_double;
  for (index_t i = 0; i < curvature.size(); ++i)
    if (std::abs(curvature[i]) > 0.0) smallest = std::min(smallest, std::abs(curvature[i]));
  if (smallest == largest_double) return false;
  // A variable with little curvature is scaled as the least curved one that has some.
  const double floor = std::max(1e5 * double_epsilon, std::sqrt(smallest));
  for (index_t i = 0; i < curvature.size(); ++i)
    scale[i] = std::max(std::sqrt(std::abs(curvature[i])), floor);
  return true;
}

bool is_degenerate(const_vector_view gradient, const_symmetric_view hessian) {
  for (index_t i = 0; i < gradient.size(); ++i)
    if (!(std::abs(gradient[i]) <= double_epsilon &&
          std::abs(hessian(i, i)) <= double_epsilon))
      return false;
  return true;
}

stop_measures measure_stop(double old_value, double new_value, const_vector_view gradient,
                           const_symmetric_view hessian, double hessian_floor) {
  double largest = -largest_double;
  for (index_t i = 0; i < gradient.size(); ++i) {
    const double curvature = std::abs(hessian(i, i));
    const double scaled =
        std::abs(gradient[i] / (curvature >= hessian_floor ? std::sqrt(curvature) : 1.0));
    // A NaN becomes the maximum and stays it: no number is larger than a NaN.
    if (scaled > largest || std::isnan(scaled)) largest = scaled;
  }
  return {std::abs(new_value - old_value) / (std::abs(old_value) + 1.0), largest};
}

bool hessian_positive_definite(const_symmetric_view hessian, double floor) {
  scoped_allocator scope;
  // Negated, so that a NaN on the diagonal is kept and fails the factorization.
  auto* kept = scope.take<index_t>(hessian.rows());
  index_t count = 0;
  for (index_t i = 0; i < hessian.rows(); ++i)
    if (!(std::abs(hessian(i, i)) < floor)) kept[count++] = i;
  const symmetric_view factor = scope.symmetric(count);
  for (index_t j = 0; j < count; ++j)
    for (index_t i = j; i < count; ++i) factor(i, j) = hessian(kept[i], kept[j]);
  if (potrf(factor) != 0) return false;
  // The factorization may report success on NaN; its pivots then are NaN too.
  for (index_t j = 0; j < count; ++j)
    if (!(factor(j, j) > 0.0)) return false;
  return true;
}

bool stop_test(stop_measures measures, const_symmetric_view hessian, stop_limits limits) {
  const strided_view<const double> curvature = diagonal(hessian);
  // Without any curvature the positive-definiteness below would be empty.
  bool curved = false;
  for (index_t i = 0; i < curvature.size(); ++i)
    curved = curved || std::abs(curvature[i]) > limits.hessian_floor;
  return curved && limits.value_change > measures.value_change &&
         limits.gradient_max > measures.gradient_max &&
         hessian_positive_definite(hessian, limits.hessian_floor);
}

}  // namespace corvane
