// SPDX-License-Identifier: BSD-3-Clause
//
// Every minimum and maximum here keeps the value at hand unless the new one is strictly
// better. So a NaN never enters a bracket of numbers, and a bracket that moves has moved in
// its one direction: lambda_low and lambda_singular up, lambda_high down.
#include "optimization/subproblem_bounds.h"

#include <algorithm>
#include <cmath>

#include "common/finite.h"
#include "common/linear_algebra.h"

namespace corvane {

namespace {

// max_j sum_i |H(i, j)|. With H(i, j) = H(j, i) the sum goes over both triangles.
double largest_column_sum(const_symmetric_view H) {
  double largest = 0.0;
  for (index_t j = 0; j < H.cols(); ++j) {
    double sum = 0.0;
    for (index_t i = 0; i < H.rows(); ++i) sum += std::abs(H(i, j));
    largest = std::max(largest, sum);
  }
  return largest;
}

// max_i -H(i, i) <= -lambda_min(H), since H(i, i) is a Rayleigh quotient.
double singular_bound_of_diagonal(const_symmetric_view H) {
  double bound = -largest_double;
  const strided_view<const double> entries = diagonal(H);
  for (index_t i = 0; i < entries.size(); ++i) bound = std::max(bound, -entries[i]);
  return bound;
}

}  // namespace

void initialize_bounds(subproblem_bounds& bounds, double radius, const_vector_view g,
                       const_symmetric_view H) {
  bounds.gradient_norm = norm(g);
  bounds.hessian_norm = largest_column_sum(H);
  bounds.lambda_singular = singular_bound_of_diagonal(H);
  const double q = bounds.gradient_norm / radius;
  bounds.lambda_high = q + bounds.hessian_norm;
  bounds.lambda_low =
      std::max(std::max(bounds.lambda_singular, 0.0), q - bounds.hessian_norm);
}

void shrink_bounds(subproblem_bounds& bounds, double radius, double lambda) {
  const double q = bounds.gradient_norm / radius;
  bounds.lambda_high = bounds.hessian_norm + q;
  bounds.lambda_low = std::max(lambda, q - bounds.hessian_norm);
}

double safeguard(const subproblem_bounds& bounds, double lambda) {
  const double raised = std::max(bounds.lambda_low, lambda);
  const double inside = std::min(raised, bounds.lambda_high);
  if (bounds.lambda_singular >= inside)
    return std::max(std::sqrt(bounds.lambda_low * bounds.lambda_high),
                    0.001 * bounds.lambda_high);
  return inside;
}

void raise_singular(subproblem_bounds& bounds, double bound) {
  bounds.lambda_singular = std::max(bounds.lambda_singular, bound);
  bounds.lambda_low = std::max(bounds.lambda_low, bounds.lambda_singular);
}

void narrow_bounds(subproblem_bounds& bounds, double lambda, double step_norm,
                   double radius) {
  if (radius > step_norm)
    bounds.lambda_high = std::min(bounds.lambda_high, lambda);
  else
    bounds.lambda_low = std::max(bounds.lambda_low, lambda);
}

}  // namespace corvane
